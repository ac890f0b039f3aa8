# Builds the driver against the headers here and the small host beside them, and runs the session.
# SOURCE: the project; WORK: a folder for the two builds, which stay for the next run; GENERATOR, COMPILER: as in the
# build that runs it.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE Status OUTPUT_VARIABLE Text ERROR_VARIABLE Text TIMEOUT 900)
  if(NOT Status EQUAL 0)
    message(FATAL_ERROR "${ARGN} ended with ${Status}:\n${Text}")
  endif()
endfunction()

set(Common -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_BUILD_TYPE=Release
  -DCMAKE_COMPILE_WARNING_AS_ERROR=ON)
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/driver ${Common} -DBUILD_TESTING=OFF
  -DVESTARA_HOST_DIR=${SOURCE}/tests/other_host/host)
run(${CMAKE_COMMAND} --build ${WORK}/driver --target LVESTARA)
run(${CMAKE_COMMAND} -S ${SOURCE}/tests/other_host -B ${WORK}/host ${Common})
run(${CMAKE_COMMAND} --build ${WORK}/host)
run(${WORK}/host/vestara_other_host ${WORK}/driver/lib/libLVESTARA.so)
