# The steps the journal's script tests (journal_day.cmake, report_day.cmake)
# are made of. EMULATOR, when set, runs the programs (Wine).

# run(<exit status> <program> <arguments>...): runs the program (at most 120
# s), fails unless it exits with <exit status>; sets `out` and `err`.
function(run status)
  execute_process(COMMAND ${EMULATOR} ${ARGN} OUTPUT_VARIABLE o ERROR_VARIABLE e
                  RESULT_VARIABLE rc TIMEOUT 120)
  if(NOT rc STREQUAL status)
    message(FATAL_ERROR "${ARGN}\nexited with ${rc}, not ${status}\n${o}\n${e}")
  endif()
  set(out "${o}" PARENT_SCOPE)
  set(err "${e}" PARENT_SCOPE)
endfunction()

# expect(<text> <pattern>...): fails unless the text matches every pattern.
function(expect text)
  foreach(pattern IN LISTS ARGN)
    if(NOT text MATCHES "${pattern}")
      message(FATAL_ERROR "missing: ${pattern}\nin:\n${text}")
    endif()
  endforeach()
endfunction()
