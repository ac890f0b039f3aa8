# The services of the framework that need no system behind them: texts, lists, streams, JSON, HTTP, traces.
find_package(OpenSSL 3 REQUIRED)
find_package(Boost 1.81 REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(spdlog REQUIRED)

add_library(vestara_framework_base STATIC
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/DiagnosticLog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/JsonSecrets.cpp
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/NamedSecrets.cpp
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/ReportFlood.cpp
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/SecretFilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/diagnostics/Trace.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/HTTP.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/HttpReplyReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/NameLookup.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/RequestCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/TlsSessions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/network/TlsTransport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/pages/PropertySet.cpp
  ${CMAKE_CURRENT_LIST_DIR}/seams/Framework.cpp
  ${CMAKE_CURRENT_LIST_DIR}/seams/Platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/system/WorkerStop.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/Formatter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/JSON.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/JsonParser.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/QXList.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/QXStream.cpp
  ${CMAKE_CURRENT_LIST_DIR}/values/QXString.cpp)
set_target_properties(vestara_framework_base PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_link_libraries(vestara_framework_base
  PUBLIC vestara_host_headers Threads::Threads
  PRIVATE vestara_options OpenSSL::SSL OpenSSL::Crypto Boost::headers nlohmann_json::nlohmann_json spdlog::spdlog)

# Under the sanitizers GCC 12 takes Boost's empty optional for an uninitialised value, inside Boost's headers.
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/network/HttpReplyReader.cpp
  PROPERTIES COMPILE_OPTIONS $<$<BOOL:${VESTARA_SANITIZE}>:-Wno-maybe-uninitialized>)
