# The compile options and definitions of the project, as libraries to link with; only the path of a file that a target
# uses is defined beside that target:
#   vestara_options         warnings and checkers, for all code of the project
#   vestara_driver_options  how the driver's code is generated
#   vestara_cloud_hosts     the two cloud hosts
#   vestara_version         the version, for the programs that tell it and the library's note

set(VESTARA_SANITIZE "" CACHE STRING
  "Checkers to build with: memory (addresses and undefined behaviour), thread, or none")
set_property(CACHE VESTARA_SANITIZE PROPERTY STRINGS "" memory thread)

# libFuzzer, which comes with Clang, looks which branches an input takes.
option(VESTARA_FUZZ "Build the fuzzers (target fuzzers), with Clang" OFF)

# The two cloud hosts are fixed for a deployment, so they are compiled into the driver and set here only.
set(VESTARA_OAUTH_HOST oauth.vestara.example CACHE STRING "Host name of the cloud's OAuth server")
set(VESTARA_API_HOST api.vestara.example CACHE STRING "Host name of the cloud's REST API")

add_library(vestara_options INTERFACE)
# A switch over an enumeration names each of its values, so that a new one which was forgotten does not compile.
target_compile_options(vestara_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror=switch -fno-omit-frame-pointer)
if(VESTARA_SANITIZE STREQUAL "memory")
  target_compile_options(vestara_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined)
  target_link_options(vestara_options INTERFACE -fsanitize=address,undefined)
elseif(VESTARA_SANITIZE STREQUAL "thread")
  # The thread checker does not follow fences. Asio's stand between its own locked queues, which order the same
  # accesses, so its handlers run without them here.
  target_compile_options(vestara_options INTERFACE -fsanitize=thread)
  target_compile_definitions(vestara_options INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  target_link_options(vestara_options INTERFACE -fsanitize=thread)
elseif(VESTARA_SANITIZE)
  message(FATAL_ERROR "VESTARA_SANITIZE is \"${VESTARA_SANITIZE}\": memory, thread or nothing")
endif()

if(VESTARA_FUZZ)
  target_compile_options(vestara_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# What stands in an attacker's way when a fault of memory is left: addresses that nobody knows, a guard in each stack
# frame, checked copies of the C library, tables that are read-only once the program runs, and jumps that only land
# where a function begins. The checkers bring their own.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT VESTARA_SANITIZE)
  target_compile_options(vestara_options INTERFACE -fstack-protector-strong -fstack-clash-protection
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(vestara_options INTERFACE -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_compile_options(vestara_options INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(vestara_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# A controller has little memory: code of the size that it is worth, and no copy of what nothing calls.
# The folder that it is built in leaves no trace in what is delivered, so that anybody can build the same bytes again.
add_library(vestara_driver_options INTERFACE)
target_compile_options(vestara_driver_options INTERFACE
  $<$<CONFIG:Release>:-O2> -fno-plt -ffunction-sections -fdata-sections
  $<$<CONFIG:Release>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=>
  $<$<CONFIG:Release>:-ffile-prefix-map=${CMAKE_BINARY_DIR}/=>)

add_library(vestara_cloud_hosts INTERFACE)
target_compile_definitions(vestara_cloud_hosts INTERFACE
  VESTARA_OAUTH_HOST="${VESTARA_OAUTH_HOST}"
  VESTARA_API_HOST="${VESTARA_API_HOST}")

add_library(vestara_version INTERFACE)
target_compile_definitions(vestara_version INTERFACE VESTARA_VERSION="${PROJECT_VERSION}")

# Under the sanitizers GCC 12 takes Boost's empty optional for an uninitialised value, inside Boost's headers. Called
# in the folder of the source.
function(vestara_allow_empty_optional target source)
  set_source_files_properties(${source} TARGET_DIRECTORY ${target}
    PROPERTIES COMPILE_OPTIONS $<$<AND:$<BOOL:${VESTARA_SANITIZE}>,$<CXX_COMPILER_ID:GNU>>:-Wno-maybe-uninitialized>)
endfunction()
