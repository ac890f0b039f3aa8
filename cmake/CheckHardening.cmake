# Looks whether a program or library was built as cmake/Options.cmake asks for. Included by a script, or run as one:
# FILE, FUNCTION: the file, and a function in it; READELF, OBJDUMP, NM: paths; FORTIFIED: it copies by the C library's
# functions, so checked forms of these are among what it needs.

function(run Output)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE Text RESULT_VARIABLE Result)
  if(NOT Result EQUAL 0)
    message(FATAL_ERROR "${ARGN} ended with ${Result}")
  endif()
  set(${Output} "${Text}" PARENT_SCOPE)
endfunction()

function(require Text Pattern Complaint)
  if(NOT Text MATCHES "${Pattern}")
    message(FATAL_ERROR "${FILE}: ${Complaint}:\n${Text}")
  endif()
endfunction()

function(check_hardened)
  run(Headers ${READELF} -hlWd ${FILE})
  require("${Headers}" "Type: +DYN" "it is not position independent")
  require("${Headers}" "GNU_RELRO" "its tables stay writable")
  require("${Headers}" "\\(FLAGS\\) +BIND_NOW" "it binds symbols late, so their table stays writable")
  require("${Headers}" "GNU_STACK[ 0-9a-fx]+RW " "its stack is executable")
  if(Headers MATCHES "\\((RPATH|RUNPATH)\\)")
    message(FATAL_ERROR "${FILE}: it looks for libraries in a folder of its own:\n${Headers}")
  endif()
  run(Needed ${NM} -D --undefined-only ${FILE})
  require("${Needed}" "__stack_chk_fail" "no stack frame has a guard")
  if(FORTIFIED)
    require("${Needed}" "__[a-z]+_chk" "nothing is copied by a checked function")
  endif()
  # Where an indirect jump may land: endbr64 on x86-64, bti or paciasp on arm64.
  run(Code ${OBJDUMP} -d --no-show-raw-insn --disassemble=${FUNCTION} ${FILE})
  require("${Code}" "<${FUNCTION}>:\n[^\n]*(endbr64|bti|paciasp)" "a jump may land anywhere")
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  check_hardened()
endif()
