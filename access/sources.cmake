# Sources of the access persons, for the library and for the tests that build it in.
set(VESTARA_ACCESS_SOURCES
  ${CMAKE_SOURCE_DIR}/access/AccessPerson.cpp
  ${CMAKE_SOURCE_DIR}/access/AccessPersonList.cpp
  ${CMAKE_SOURCE_DIR}/access/Registry.cpp
  ${CMAKE_SOURCE_DIR}/access/Synchronisation.cpp)
