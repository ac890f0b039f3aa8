# Builds the driver alone for arm64 with the toolchain file and looks at the library as a controller would. The machine
# has no library of the programs for arm64, so this also shows that the driver takes none.
# SOURCE: the project; WORK: a folder for this test; GENERATOR: as in the build that runs it.

file(REMOVE_RECURSE ${WORK})
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK} -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Release -DVESTARA_DRIVER_ONLY=ON
    -DCMAKE_TOOLCHAIN_FILE=${SOURCE}/cmake/toolchains/aarch64-linux-gnu.cmake -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
  COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
execute_process(COMMAND ${CMAKE_CTEST_COMMAND} --test-dir ${WORK} --output-on-failure --no-tests=error
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND aarch64-linux-gnu-readelf -h ${WORK}/lib/libLVESTARA.so
  OUTPUT_VARIABLE Header COMMAND_ERROR_IS_FATAL ANY)
if(NOT Header MATCHES "Machine: +AArch64")
  message(FATAL_ERROR "this is no library for arm64:\n${Header}")
endif()
