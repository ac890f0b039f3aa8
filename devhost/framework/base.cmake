# The services of the framework that need no system behind them: texts, lists, streams, JSON, HTTP, traces.
find_package(OpenSSL 3 REQUIRED)
find_package(Boost 1.81 REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(spdlog REQUIRED)

add_library(vestara_framework_base STATIC
  ${CMAKE_CURRENT_LIST_DIR}/DiagnosticLog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Formatter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Framework.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HTTP.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HttpReplyReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/JSON.cpp
  ${CMAKE_CURRENT_LIST_DIR}/JSONParser.cpp
  ${CMAKE_CURRENT_LIST_DIR}/JsonSecrets.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NameLookup.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NamedSecrets.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PropertySet.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QXList.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QXStream.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QXString.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ReportFlood.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RequestCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SecretFilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TlsSessions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TlsTransport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Trace.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WorkerStop.cpp)
set_target_properties(vestara_framework_base PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_link_libraries(vestara_framework_base
  PUBLIC vestara_host_headers Threads::Threads
  PRIVATE vestara_options OpenSSL::SSL OpenSSL::Crypto Boost::headers nlohmann_json::nlohmann_json spdlog::spdlog)

# Under the sanitizers GCC 12 takes Boost's empty optional for an uninitialised value, inside Boost's headers.
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/HttpReplyReader.cpp
  PROPERTIES COMPILE_OPTIONS $<$<BOOL:${VESTARA_SANITIZE}>:-Wno-maybe-uninitialized>)
