# The shipped chaos sample (config/xt_config.chaos) against the demo host's
# scripted day: the day completes, and the journal of both boundaries shows
# every fault the README's table of the hostile counter lists, each found in
# what crossed them. The day is recorded through the recording plug-in and
# vendor library (docs/journal.md) and read back with journal_dump.
# Arguments: DEMO, RECORDING_PLUGIN, DUMP, SAMPLE, WORK and optionally EMULATOR.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

set(ENV{KS_JOURNAL_FILE} ${WORK}/day.ksj)
execute_process(COMMAND ${EMULATOR} ${DEMO} --plugin ${RECORDING_PLUGIN} --config ${SAMPLE}
                        --timeout-ms 10000
                OUTPUT_VARIABLE demo ERROR_VARIABLE err RESULT_VARIABLE rc TIMEOUT 120)
if(NOT rc STREQUAL "0" OR NOT demo MATCHES "scripted day complete")
  message(FATAL_ERROR "the chaos day did not complete (exit ${rc}):\n${demo}\n${err}")
endif()
execute_process(COMMAND ${EMULATOR} ${DUMP} ${WORK}/day.ksj
                OUTPUT_VARIABLE dump RESULT_VARIABLE rc TIMEOUT 120)
if(NOT rc STREQUAL "0")
  message(FATAL_ERROR "journal_dump exited with ${rc}:\n${dump}")
endif()
string(REPLACE "\r" "" dump "${dump}")  # a Windows program's line ends

# The entries without their clock, one list element each (a list separator
# in a text would split it: none of the journal's texts holds one).
string(REGEX REPLACE "(^|\n)[0-9:.]+  " "\\1" entries "${dump}")
string(REPLACE "\n" ";" entries "${entries}")

# What the vendor library told the plug-in, in the order it came: the
# callbacks of one connection arrive in order on one thread (or, answering
# synchronously, on the caller's).
set(callbacks "")
foreach(entry IN LISTS entries)
  if(entry MATCHES "V<  ")
    list(APPEND callbacks "${entry}")
  endif()
endforeach()

set(seen "")
set(previous "")
set(latest 0)  # the latest request a callback answered so far
set(replied "")
foreach(entry IN LISTS callbacks)
  # A push sent twice in a row: the same callback with the same record.
  if(entry MATCHES "V<  on(Order|Deal|OrderError|CancelError)Push " AND entry STREQUAL previous)
    list(APPEND seen duplicate)
  endif()
  set(previous "${entry}")
  # An order's push ahead of the reply that gives its vendor order number.
  if(entry MATCHES "V<  onOrderPush .* data.OrderID=([0-9]+)")
    set(id ${CMAKE_MATCH_1})
    if(NOT id IN_LIST replied AND dump MATCHES "V<  onOrderReply +req=[0-9]+ +orderId=${id}[ \n]")
      list(APPEND seen pushes_before_reply)
    endif()
  endif()
  if(entry MATCHES "V<  onOrderReply +req=[0-9]+ +orderId=([0-9]+)")
    list(APPEND replied ${CMAKE_MATCH_1})
  endif()
  # A reply that comes after an answer to a later request: held back or late.
  if(entry MATCHES "V<  on(Order|Cancel)Reply2? +req=([0-9]+)" AND CMAKE_MATCH_2 LESS latest)
    list(APPEND seen reply_held_or_late)
  endif()
  if(entry MATCHES "(req=|RequestID=)([0-9]+)" AND CMAKE_MATCH_2 GREATER latest)
    set(latest ${CMAKE_MATCH_2})
  endif()
  # A refusal that came only as the error push.
  if(entry MATCHES "V<  onOrderErrorPush .*data.RequestID=([0-9]+)"
     AND NOT dump MATCHES "V<  onOrderReply +req=${CMAKE_MATCH_1}[ \n]")
    list(APPEND seen error_push_without_reply)
  endif()
endforeach()

# A one-lot order the account can pay for, refused by the counter.
if(dump MATCHES "H<  onOrderRejected +req=[0-9]+ +code=-1 +msg=\"\\[msg=(可用资金不足|柜台繁忙，请稍后重试)\\]\"[^\n]* vol=1 ")
  list(APPEND seen refused_at_random)
endif()
# The connection dropped; a new session whose order query lists an order
# the exchange took before the drop.
string(REGEX MATCH "H<  onDisconnected +req=0 +code=-7 +msg=\"\\[msg=与柜台的连接已断开\\]\"" lost
       "${dump}")
if(lost)
  list(APPEND seen dropped)
  string(FIND "${dump}" "${lost}" drop)
  string(SUBSTRING "${dump}" 0 ${drop} before)
  string(SUBSTRING "${dump}" ${drop} -1 after)
  string(FIND "${after}" "H>  CreateTradeSession" created)
  if(NOT created EQUAL -1)
    string(SUBSTRING "${after}" ${created} -1 after)
  endif()
  string(REGEX MATCHALL "H<  onOrdersResponse [^\n]* exchangeId=[0-9]+ " records "${after}")
  foreach(record IN LISTS records)
    if(NOT created EQUAL -1 AND record MATCHES "exchangeId=([0-9]+) "
       AND before MATCHES "exchangeId=${CMAKE_MATCH_1} ")
      list(APPEND seen new_session_after_drop)
    endif()
  endforeach()
endif()

# The README's table of faults, row by row.
set(missing "")
foreach(fault IN ITEMS pushes_before_reply duplicate error_push_without_reply reply_held_or_late
                       refused_at_random dropped new_session_after_drop)
  if(NOT fault IN_LIST seen)
    list(APPEND missing ${fault})
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "the chaos day shows no ${missing}\n${dump}")
endif()
message(STATUS "the chaos day shows every fault")
