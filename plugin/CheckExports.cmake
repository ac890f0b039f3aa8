# Checks the built library as a controller would see it: what it exports, its soname, what it needs, that loading it
# runs no code of its own, and its size. Fails with the difference.
# LIBRARY, NM, READELF, STRIP: paths; STRIPPED: where the stripped copy goes; SANITIZED: the sanitizers' own symbols,
# libraries and start-up code are in it.

function(run Output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE Text RESULT_VARIABLE Result)
  if(NOT Result EQUAL 0)
    message(FATAL_ERROR "${ARGN} ended with ${Result}")
  endif()
  set(${Output} "${Text}" PARENT_SCOPE)
endfunction()

run(Symbols ${NM} -D --defined-only --format=posix ${LIBRARY})
string(REGEX MATCHALL "(^|\n)[^ \n]+" Exported "${Symbols}")
list(TRANSFORM Exported STRIP)
list(SORT Exported)
set(Expected CreateDeviceInterface CreateSystemComponent GetLibSignature LoadDeviceInterfaces
  LoadSystemComponentDefs _Z7DllMainijPv)
if(NOT "${Exported}" STREQUAL "${Expected}")
  message(FATAL_ERROR "exported symbols:\n  ${Exported}\nexpected:\n  ${Expected}")
endif()

run(Dynamic ${READELF} -dW ${LIBRARY})
if(NOT Dynamic MATCHES "Library soname: \\[libLVESTARA\\.so\\]")
  message(FATAL_ERROR "the soname is not libLVESTARA.so:\n${Dynamic}")
endif()
if(SANITIZED)
  return()
endif()

string(REGEX MATCHALL "Shared library: \\[[^]]+" Needed "${Dynamic}")
list(TRANSFORM Needed REPLACE ".*\\[" "")
foreach(Library IN LISTS Needed)
  if(NOT Library MATCHES "^(libstdc\\+\\+|libgcc_s|libc|libm)\\.so")
    message(FATAL_ERROR "the library needs ${Library}")
  endif()
endforeach()

# One entry of pointer size is the compiler's own start-up file; a second one is a static initialiser.
run(Sections ${READELF} -SW ${LIBRARY})
if(NOT Sections MATCHES "\\.init_array +INIT_ARRAY +[0-9a-f]+ [0-9a-f]+ 0*8 ")
  message(FATAL_ERROR "the library has static initialisers:\n${Sections}")
endif()

run(Ignored ${STRIP} -o ${STRIPPED} ${LIBRARY})
file(SIZE ${STRIPPED} Bytes)
math(EXPR Limit "256 * 1024")
if(Bytes GREATER Limit)
  message(FATAL_ERROR "stripped, the library has ${Bytes} bytes, more than ${Limit}")
endif()
message(STATUS "six symbols, ${Bytes} bytes stripped")
