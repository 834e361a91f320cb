# The journal as a trader uses it: the demo host's scripted day recorded
# through the recording plug-in and the recording vendor library over the
# simulated counter, dumped, replayed against the plug-in it was recorded with
# and against a variant with one changed conversion; then what the recorders
# do when their real libraries or the journal's file are missing.
# Arguments: DEMO, RECORDING_PLUGIN, PLUGIN, VARIANT, DUMP, REPLAY, FORGE,
# WORK and optionally EMULATOR.
cmake_minimum_required(VERSION 3.25)  # if() reads quoted texts as texts
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)

# The counter answers inside the request calls: the recorded order of
# requests and callbacks is then the same every time, and so is the replay's.
# (With answers on the counter's thread the demo host's first funds query
# races the counter's account push, and a replay may take the other turn.)
get_filename_component(bin ${DEMO} DIRECTORY)
file(READ ${bin}/config/xt_config config)
string(REPLACE "synchronous = false" "synchronous = true" config "${config}")
file(WRITE ${WORK}/xt_config "${config}")
set(ENV{XT_SIM_CONFIG} ${WORK}/xt_config)

set(day ${WORK}/day.ksj)
set(ENV{KS_JOURNAL_FILE} ${day})
run(0 ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 10000)
set(demo "${out}")

# The dump holds every host event the demo host printed, in its words, and
# both boundaries around them.
run(0 ${DUMP} ${day})
set(dump "${out}")
string(REGEX MATCHALL "[0-9:.]+  on[^\n]*" events "${demo}")
list(LENGTH events count)
if(count LESS 20)
  message(FATAL_ERROR "the demo printed ${count} events:\n${demo}")
endif()
foreach(line IN LISTS events)
  string(SUBSTRING "${line}" 12 -1 event)
  string(FIND "${dump}" "H<${event}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the dump lacks the demo's event${event}\n${dump}")
  endif()
endforeach()
expect("${dump}"
  "H>  sendOrder +req=[0-9]+ .*clientId.serial=\"000001\""
  "V>  placeOrder +req=[0-9]+ .*order.Instrument=\"rb2410\""
  "V<  onOrderPush .*data.ErrorMsg=\"全部成交\""
  "V>  cancelOrderByExchangeId +req=[0-9]+ .*exchangeCode=\"SHFE\""
  "H=  release"
  "V<  onUserLogin .*password=\"[*][*][*]\""
  # Each callback's return closes the innermost one open: the host event
  # made inside the vendor's push returns first.
  "V<  onOrderPush[^\n]*\n[^\n]*H<  onOrderAccepted[^\n]*\n[^\n]*H[.]  onOrderAccepted +req=-1\n[^\n]*V[.]  onOrderPush\n")

# JSON Lines: every line an object; the first order's serial where jq finds it.
run(0 ${DUMP} --json ${day})
string(REGEX MATCHALL "[^\n]+" lines "${out}")
foreach(line IN LISTS lines)
  string(JSON operation ERROR_VARIABLE bad GET "${line}" operation)
  if(bad)
    message(FATAL_ERROR "not JSON (${bad}): ${line}")
  endif()
  if(operation STREQUAL "sendOrder" AND NOT serial)
    string(JSON serial GET "${line}" fields clientId.serial)
  endif()
endforeach()
if(NOT serial STREQUAL "000001")
  message(FATAL_ERROR "first sendOrder's clientId.serial in JSON: '${serial}'\n${out}")
endif()
expect("${out}" "\"kind\":\"done\",\"operation\":\"onOrderPush\".*\"fields\":{\"threw\":false}")

# The same build replays without a difference; the variant's one change shows.
run(0 ${REPLAY} ${day} --plugin ${PLUGIN})
expect("${out}" "no difference: 2[0-9] host events")
set(replayed "${out}")

# The same day as the version-1 recorders wrote it (no returns of callbacks)
# dumps the same lines less the returns, and replays the same.
run(0 ${FORGE} v1 ${day} ${WORK}/day_v1.ksj)
run(0 ${DUMP} ${WORK}/day_v1.ksj)
string(REGEX REPLACE "\n[^\n]* [HV][.]  [^\n]*" "" dump_without_returns "${dump}")
string(REGEX REPLACE "^[^\n]*\n" "" dump_without_returns "${dump_without_returns}")
string(REGEX REPLACE "^[^\n]*\n" "" dump_v1 "${out}")
if(NOT dump_v1 STREQUAL dump_without_returns)
  message(FATAL_ERROR "the version-1 dump differs:\n${out}")
endif()
run(0 ${REPLAY} ${WORK}/day_v1.ksj --plugin ${PLUGIN})
string(REPLACE "day_v1.ksj" "day.ksj" out "${out}")
if(NOT out STREQUAL replayed)
  message(FATAL_ERROR "the version-1 replay differs:\n${out}\nfrom\n${replayed}")
endif()
run(1 ${REPLAY} ${day} --plugin ${VARIANT})
expect("${out}" "difference in host events" "direction=1  ->  direction=2")

# A journal cut by a crash, inside the answer to the first order (the request
# made, its answer lost) and inside the host event of the first fill: the
# replay stops at the last complete entry, says where the journal ends, and
# reports no difference against the build it was recorded with; against the
# variant, the difference before the cut still shows. (head cuts the file:
# a Unix host's.)
if(CMAKE_HOST_UNIX)
  run(0 ${DUMP} --json ${day})
  string(REGEX MATCHALL "[^\n]+" lines "${out}")
  unset(answer_at)
  unset(filled_at)
  foreach(line IN LISTS lines)
    string(JSON kind GET "${line}" kind)
    string(JSON operation GET "${line}" operation)
    string(JSON offset GET "${line}" offset)
    if(kind STREQUAL "return" AND operation STREQUAL "sendOrder" AND NOT DEFINED answer_at)
      set(answer_at ${offset})
    elseif(kind STREQUAL "event" AND operation STREQUAL "onOrderFilled" AND NOT DEFINED filled_at)
      set(filled_at ${offset})
    endif()
  endforeach()
  if(NOT DEFINED answer_at OR NOT DEFINED filled_at)
    message(FATAL_ERROR "no sendOrder answer or onOrderFilled event in the dump:\n${out}")
  endif()
  foreach(at IN ITEMS ${answer_at} ${filled_at})
    math(EXPR size "${at} + 12")
    execute_process(COMMAND head -c ${size} ${day} OUTPUT_FILE ${WORK}/cut.ksj)
    run(0 ${REPLAY} ${WORK}/cut.ksj --plugin ${PLUGIN})
    expect("${out}" "the journal ends early [(]truncated entry at offset ${at}: "
           "stopped at its last complete entry" "no difference: .* up to the cut")
  endforeach()
  run(1 ${REPLAY} ${WORK}/cut.ksj --plugin ${VARIANT})
  expect("${out}" "direction=1  ->  direction=2" "the journal ends early")
endif()

# Bad input and broken installations: clear words, and trading goes on when
# only the journal is at fault.
file(WRITE ${WORK}/text.ksj "not a journal\n")
run(2 ${DUMP} ${WORK}/text.ksj)
expect("${err}" "text.ksj is not a journal")
run(2 ${REPLAY} ${WORK}/text.ksj --plugin ${PLUGIN})
expect("${err}" "is not a journal")

set(ENV{KS_JOURNAL_FILE} ${WORK}/no/such/folder/day.ksj)
run(0 ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 10000)
expect("${err}" "journal: cannot write .*no/such/folder/day.ksj")

set(ENV{KS_JOURNAL_FILE} ${WORK}/novendor.ksj)
set(ENV{KS_JOURNAL_REAL_VENDOR} ${WORK}/missing-vendor-library)
run(1 ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 2000)
expect("${err}" "cannot load the real vendor library .*missing-vendor-library")
expect("${out}" "onDisconnected|code=-8")

set(ENV{KS_JOURNAL_REAL_PLUGIN} ${WORK}/missing-plugin)
run(1 ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 2000)
expect("${err}" "cannot load the real plug-in .*missing-plugin")
