# Configures the project with several folders in VESTARA_HOST_DIR: a bad one is refused with its reason, a good one is
# the only place from which the driver takes the framework's headers.
# SOURCE: the project; WORK: a folder for this test; GENERATOR, COMPILER: as in the build that runs it.

file(REMOVE_RECURSE ${WORK})
foreach(Copy good/host lacking/host headers)
  file(MAKE_DIRECTORY ${WORK}/${Copy})
  file(GLOB Headers ${SOURCE}/host/*.h)
  file(COPY ${Headers} DESTINATION ${WORK}/${Copy})
endforeach()
file(REMOVE ${WORK}/lacking/host/QXTimer.h)

function(configure HostDir Result Output)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
      -DVESTARA_HOST_DIR=${WORK}/${HostDir}
    RESULT_VARIABLE Status OUTPUT_VARIABLE Text ERROR_VARIABLE Text)
  string(REGEX REPLACE "[ \n]+" " " Text "${Text}")
  set(${Result} ${Status} PARENT_SCOPE)
  set(${Output} "${Text}" PARENT_SCOPE)
endfunction()

foreach(Case
    "missing/host|there is no folder"
    "headers|must be called \"host\""
    "lacking/host|lacks headers that the driver includes: QXTimer.h ")
  string(REPLACE "|" ";" Case "${Case}")
  list(GET Case 0 HostDir)
  list(GET Case 1 Reason)
  configure(${HostDir} Status Text)
  string(FIND "${Text}" "${Reason}" Found)
  if(Status EQUAL 0 OR Found EQUAL -1)
    message(FATAL_ERROR "${HostDir}: status ${Status}, expected \"${Reason}\":\n${Text}")
  endif()
endforeach()

configure(good/host Status Text)
if(NOT Status EQUAL 0)
  message(FATAL_ERROR "good/host: status ${Status}:\n${Text}")
endif()
file(READ ${WORK}/build/compile_commands.json Commands)
string(FIND "${Commands}" "-I${WORK}/good " Given)
string(FIND "${Commands}" "-I${SOURCE} " Own)
if(Given EQUAL -1 OR NOT Own EQUAL -1)
  message(FATAL_ERROR "good/host: the driver's include path is not that of the given folder alone")
endif()
