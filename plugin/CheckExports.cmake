# Checks the built library as a controller would see it: what it exports, its soname, its version note, what it needs,
# that loading it runs no code of its own, how it is hardened, and its size. Fails with the difference.
# LIBRARY, NM, READELF, OBJDUMP, STRIP: paths; VERSION: of the project; STRIPPED: where the stripped copy goes; SANITIZED:
# the sanitizers' own symbols, libraries and start-up code are in it.

include(${CMAKE_CURRENT_LIST_DIR}/../cmake/CheckHardening.cmake)

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

run(Notes ${READELF} -nW ${LIBRARY})
string(FIND "${Notes}" "{\"name\":\"LVESTARA\",\"version\":\"${VERSION}\"}" Found)
if(Found EQUAL -1)
  message(FATAL_ERROR "no note names version ${VERSION}:\n${Notes}")
endif()
if(SANITIZED)
  return()
endif()

set(FILE ${LIBRARY})
set(FUNCTION _Z7DllMainijPv)
check_hardened()

# The dynamic linker itself holds the value of the stack guards on arm64.
string(REGEX MATCHALL "Shared library: \\[[^]]+" Needed "${Dynamic}")
list(TRANSFORM Needed REPLACE ".*\\[" "")
foreach(Library IN LISTS Needed)
  if(NOT Library MATCHES "^(libstdc\\+\\+|libgcc_s|libc|libm|ld-linux-aarch64)\\.so")
    message(FATAL_ERROR "the library needs ${Library}")
  endif()
endforeach()

# One entry of pointer size is the compiler's own start-up file, and on arm64 another one is its look at which atomic
# instructions there are; one more is a static initialiser.
run(Headers ${READELF} -h ${LIBRARY})
run(Sections ${READELF} -SW ${LIBRARY})
run(Symbols ${NM} ${LIBRARY})
set(Size 8)
if(Symbols MATCHES " init_have_lse_atomics\n")
  set(Size 10)
endif()
if(NOT Sections MATCHES "\\.init_array +INIT_ARRAY +[0-9a-f]+ [0-9a-f]+ 0*${Size} ")
  message(FATAL_ERROR "the library has static initialisers:\n${Sections}")
endif()

run(Ignored ${STRIP} -o ${STRIPPED} ${LIBRARY})
file(SIZE ${STRIPPED} Bytes)
set(Kibibytes 256)
if(Headers MATCHES "Machine: +AArch64")
  set(Kibibytes 320) # a gap of up to 64 KiB between code and data, the largest page that such a machine has
endif()
math(EXPR Limit "${Kibibytes} * 1024")
if(Bytes GREATER Limit)
  message(FATAL_ERROR "stripped, the library has ${Bytes} bytes, more than ${Limit}")
endif()
message(STATUS "six symbols, ${Bytes} bytes stripped")
