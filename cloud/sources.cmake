# Sources of the cloud side of the driver, for the library and for the tests that build it in.
set(VESTARA_CLOUD_SOURCES
  ${CMAKE_SOURCE_DIR}/cloud/AccessReplies.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Command.cpp
  ${CMAKE_SOURCE_DIR}/cloud/DeviceReplies.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Errors.cpp
  ${CMAKE_SOURCE_DIR}/cloud/LiteralFormat.cpp
  ${CMAKE_SOURCE_DIR}/cloud/LocationReplies.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Masking.cpp
  ${CMAKE_SOURCE_DIR}/cloud/ParseData.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Paths.cpp
  ${CMAKE_SOURCE_DIR}/cloud/PersonReplies.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Queues.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Replies.cpp
  ${CMAKE_SOURCE_DIR}/cloud/RequestText.cpp
  ${CMAKE_SOURCE_DIR}/cloud/Requests.cpp
  ${CMAKE_SOURCE_DIR}/cloud/SendCycle.cpp
  ${CMAKE_SOURCE_DIR}/cloud/TokenReplies.cpp)
