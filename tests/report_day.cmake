# The day report against recorded days, and the journal tools against
# journals they must refuse:
#  - the demo's scripted day, recorded through both recorders: the report's
#    counts equal the script's (report_truth demo), the page, JSON and CSV
#    agree on them and time the host's handlers; the same day as a version
#    1 journal (journal_forge v1) dumps, replays without a difference and
#    reports the same counts;
#  - chaos days over several seeds, the counter writing its chaos log: the
#    demo host trading CHAOS_DAY's orders and cancels (--interactive, each
#    order waiting for its first event at most 300 ms); every fault in the
#    log among the report's anomalies, none invented (report_truth chaos);
#  - hostile journals (journal_forge hostile, a cut journal, a directory):
#    each tool names the entry and its offset and exits with its documented
#    status, at once.
# Arguments: DEMO, RECORDING_PLUGIN, PLUGIN, REPORT, TRUTH, FORGE, DUMP,
# REPLAY, WORK, SEEDS, CHAOS_DAY and optionally EMULATOR.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

include(${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake)

get_filename_component(bin ${DEMO} DIRECTORY)
file(READ ${bin}/config/xt_config config)
file(READ ${bin}/config/xt_config.chaos chaos)

# The demo's scripted day, answers inside the requests (a fixed order).
string(REPLACE "synchronous = false" "synchronous = true" demo_config "${config}")
file(WRITE ${WORK}/xt_config "${demo_config}")
set(ENV{XT_SIM_CONFIG} ${WORK}/xt_config)
set(ENV{KS_JOURNAL_FILE} ${WORK}/day.ksj)
run(0 ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 10000)
run(0 ${REPORT} ${WORK}/day.ksj --json ${WORK}/day.json --csv ${WORK}/day.csv)
expect("${err}" "4 orders, [0-9]+ entries: .*day.html")
run(0 ${TRUTH} demo ${WORK}/day.ksj)
file(READ ${WORK}/day.json json)
string(JSON sent GET "${json}" orders_summary sent)
string(JSON filled GET "${json}" orders_summary filled)
string(JSON listed LENGTH "${json}" orders)
string(JSON refusal GET "${json}" orders 2 refusal)
if(NOT sent EQUAL 4 OR NOT filled EQUAL 1 OR NOT listed EQUAL 4 OR NOT refusal MATCHES "可用资金不足")
  message(FATAL_ERROR "the JSON's orders: sent ${sent}, filled ${filled}, listed ${listed}, "
                      "the third refused \"${refusal}\"\n${json}")
endif()
file(STRINGS ${WORK}/day.csv csv ENCODING UTF-8)
list(LENGTH csv rows)
list(GET csv 1 first)
if(NOT rows EQUAL 5 OR NOT first MATCHES "^0,\"demo@000001\",.*,filled,")
  message(FATAL_ERROR "the CSV: ${rows} lines, the first order: ${first}")
endif()
file(READ ${WORK}/day.html page)
expect("${page}" "<tr class=\"order\" data-i=\"3\"" "H>  sendOrder" "svg class=\"chart\"")

# The day as recorded (version 2): the returns show, and the report times
# the host's handlers.
run(0 ${DUMP} --json ${WORK}/day.ksj)
expect("${out}" "\"kind\":\"done\",\"operation\":\"onOrderPush\"")
string(JSON handlers GET "${json}" stages host_handler count)
string(JSON version GET "${json}" journal version)
if(NOT version EQUAL 2 OR handlers LESS 20)
  message(FATAL_ERROR "version ${version} journal with ${handlers} host handler times")
endif()
# The same day as the version-1 recorders wrote it: every tool reads it.
run(0 ${FORGE} v1 ${WORK}/day.ksj ${WORK}/day1.ksj)
run(0 ${DUMP} ${WORK}/day1.ksj)
expect("${out}" "H>  sendOrder" "V<  onOrderPush")
run(0 ${REPLAY} ${WORK}/day1.ksj --plugin ${PLUGIN})
expect("${out}" "no difference: 2[0-9] host events")
run(0 ${REPORT} ${WORK}/day1.ksj --json ${WORK}/day1.json)
file(READ ${WORK}/day1.json json)
string(JSON version GET "${json}" journal version)
if(NOT version EQUAL 1)
  message(FATAL_ERROR "the version-1 day reported as version ${version}")
endif()
run(0 ${TRUTH} demo ${WORK}/day1.ksj)

# Chaos days: the counter's answers on its own thread, its faults logged.
unset(ENV{XT_SIM_CONFIG})
foreach(seed IN LISTS SEEDS)
  set(log ${WORK}/chaos-${seed}.log)
  string(REGEX REPLACE "\nseed = [0-9]+" "\nseed = ${seed}\nlog = ${log}" day_config "${chaos}")
  # Replies held late by a second: far longer than a reply takes on any machine.
  string(REPLACE "delay_ms = 200" "delay_ms = 1000" day_config "${day_config}")
  # The whole day on one connection, but for the day the connection drops in.
  set(drop 0)
  if(seed STREQUAL "drop")
    string(REPLACE "seed = drop" "seed = 5" day_config "${day_config}")
    set(drop 12)
  endif()
  string(REGEX REPLACE "drop_after_events = [0-9]+" "drop_after_events = ${drop}" day_config
                       "${day_config}")
  file(WRITE ${WORK}/chaos-${seed}.config "${day_config}")
  set(ENV{XT_SIM_CONFIG} ${WORK}/chaos-${seed}.config)
  set(ENV{KS_JOURNAL_FILE} ${WORK}/chaos-${seed}.ksj)
  execute_process(COMMAND ${EMULATOR} ${DEMO} --plugin ${RECORDING_PLUGIN} --timeout-ms 300
                          --interactive
                  INPUT_FILE ${CHAOS_DAY} OUTPUT_VARIABLE o ERROR_VARIABLE e RESULT_VARIABLE rc
                  TIMEOUT 60)
  if(rc STREQUAL "0")
    set(stopped 0)
  elseif(rc STREQUAL "1")
    set(stopped 1)  # the day stopped early: the connection failed or was lost
  else()
    message(FATAL_ERROR "chaos day ${seed}: the demo host exited with ${rc}\n${o}\n${e}")
  endif()
  if(NOT EXISTS ${log})
    file(WRITE ${log} "")
  endif()
  run(0 ${REPORT} ${WORK}/chaos-${seed}.ksj --json ${WORK}/chaos-${seed}.json)
  execute_process(COMMAND ${EMULATOR} ${TRUTH} chaos ${WORK}/chaos-${seed}.ksj ${log} ${stopped}
                  OUTPUT_VARIABLE o RESULT_VARIABLE rc TIMEOUT 60)
  message(STATUS "seed ${seed}: ${o}")
  if(NOT rc STREQUAL "0")
    file(READ ${log} faults)
    message(FATAL_ERROR "chaos day ${seed}:\n${o}\nthe chaos log:\n${faults}")
  endif()
endforeach()
unset(ENV{XT_SIM_CONFIG})

# Hostile journals: each named, with the entry's offset where there is one.
run(0 ${FORGE} hostile ${WORK})
foreach(tool IN ITEMS DUMP REPORT)
  run(1 ${${tool}} ${WORK}/values-left-over.ksj)
  expect("${err}" "entry at offset [0-9]+.*values left over")
  run(1 ${${tool}} ${WORK}/text-past-entry.ksj)
  expect("${err}" "entry at offset [0-9]+.*runs past its entry")
  run(1 ${${tool}} ${WORK}/unknown-operation.ksj)
  expect("${err}" "entry at offset [0-9]+")
  run(2 ${${tool}} ${WORK}/version-3.ksj)
  expect("${err}" "format version 3; this program reads versions 1 to 2")
  run(2 ${${tool}} ${WORK}/empty.ksj)
  expect("${err}" "is not a journal")
  run(2 ${${tool}} ${WORK})
  expect("${err}" "cannot read|is not a journal")
endforeach()
foreach(name IN ITEMS values-left-over text-past-entry unknown-operation)
  run(2 ${REPLAY} ${WORK}/${name}.ksj --plugin ${PLUGIN})
  expect("${err}" "entry at offset [0-9]+ [(]")
endforeach()
run(2 ${REPLAY} ${WORK}/version-3.ksj --plugin ${PLUGIN})
expect("${err}" "format version 3")
# Numbers whole and in range.
foreach(bad IN ITEMS 9223372036854775807 100x 0 -5 " 7")
  run(2 ${REPLAY} ${WORK}/day.ksj --plugin ${PLUGIN} --timeout-ms "${bad}")
  expect("${err}" "--timeout-ms takes a whole number from 1 to 3600000")
  run(2 ${REPORT} ${WORK}/day.ksj --late-ms "${bad}")
  expect("${err}" "--late-ms takes a whole number")
endforeach()
# A journal cut inside an entry: the report covers what precedes the cut.
if(CMAKE_HOST_UNIX)
  file(SIZE ${WORK}/day.ksj size)
  math(EXPR size "${size} - 7")
  execute_process(COMMAND head -c ${size} ${WORK}/day.ksj OUTPUT_FILE ${WORK}/cut.ksj)
  run(1 ${REPORT} ${WORK}/cut.ksj --json ${WORK}/cut.json)
  expect("${err}" "truncated entry at offset [0-9]+")
  file(READ ${WORK}/cut.json json)
  string(JSON cut GET "${json}" journal cut)
  expect("${cut}" "truncated entry at offset")
endif()
# An output that cannot be written.
run(2 ${REPORT} ${WORK}/day.ksj -o ${WORK}/no/such/folder/day.html)
expect("${err}" "cannot write .*no/such/folder/day.html")
