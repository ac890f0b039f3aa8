# Builds the driver from a copy that has only its own folders, in a place with a longer name: it takes nothing else, and
# gives the same bytes.
# SOURCE: the project; WORK: a folder for this test; LIBRARY: what is compared with; GENERATOR, COMPILER, FLAGS: as in the
# build of LIBRARY; CACHE: its settings, with | between them.

set(Copy "${WORK}/another place with a longer name")
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${Copy})
foreach(Entry CMakeLists.txt cmake host plugin cloud interface lock access)
  file(COPY ${SOURCE}/${Entry} DESTINATION ${Copy})
endforeach()
string(REPLACE "|" ";" Cache "${CACHE}")
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${Copy} -B ${Copy}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_CXX_FLAGS=${FLAGS} -DCMAKE_BUILD_TYPE=Release -DVESTARA_DRIVER_ONLY=ON ${Cache}
  COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
# Without a cache of the compiler's, which would give back what it compiled before.
execute_process(COMMAND ${CMAKE_COMMAND} -E env CCACHE_DISABLE=1 ${CMAKE_COMMAND} --build ${Copy}/build
  COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
file(SHA256 ${Copy}/build/lib/libLVESTARA.so Alone)
file(SHA256 ${LIBRARY} Whole)
if(NOT Alone STREQUAL Whole)
  message(FATAL_ERROR "the same sources gave other bytes:\n  ${Copy}/build/lib/libLVESTARA.so\n  ${LIBRARY}")
endif()
message(STATUS "the same bytes: ${Whole}")
