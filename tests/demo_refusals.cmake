# The demo host and plugin_info given bad input, one row of the table below
# per case: each row runs the program once and checks its exit code, what it
# printed, and that nothing of the refused input ran (the lines the demo
# prints for every request it makes are absent). Rows that end a session
# early wait with --timeout-ms 600000: a row that waited out a timeout would
# run into the test's own time limit instead of passing.
# Arguments: DEMO, PLUGIN_INFO, WORK and optionally EMULATOR.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})

# A counter that answers inside the calls and drops the connection once
# 6 answers have gone out: during the first order, before its fill.
get_filename_component(bin ${DEMO} DIRECTORY)
file(READ ${bin}/config/xt_config config)
string(REPLACE "synchronous = false" "synchronous = true" config "${config}")
file(WRITE ${WORK}/dropping_counter "[chaos]\ndrop_after_events = 6\n${config}")

# Inputs with a NUL byte, which CMake's strings cannot hold.
execute_process(COMMAND printf "buy rb2410\\000junk 1 0\\nquit\\n" OUTPUT_FILE ${WORK}/nul_line)
execute_process(COMMAND printf "[user demo]\\npassword = demo\\000123\\n"
                OUTPUT_FILE ${WORK}/nul_counter)

set(failures "")

# row(NAME name [PROGRAM demo|plugin_info] [ARGS ...] [INPUT text | INPUT_FILE file]
#     [EXIT code] [OUT regex...] [ERR regex...] [NEVER regex...])
#   INPUT (or the file INPUT_FILE) goes to standard input (with
#   --interactive); OUT must match
#   standard output, ERR standard error, NEVER neither of them.
function(row)
  cmake_parse_arguments(PARSE_ARGV 0 r "" "NAME;PROGRAM;INPUT;INPUT_FILE;EXIT" "ARGS;OUT;ERR;NEVER")
  set(program ${DEMO})
  if(r_PROGRAM STREQUAL "plugin_info")
    set(program ${PLUGIN_INFO})
  endif()
  if(NOT DEFINED r_EXIT)
    set(r_EXIT 0)
  endif()
  if(NOT DEFINED r_INPUT_FILE)
    set(r_INPUT_FILE ${WORK}/${r_NAME}.in)
    file(WRITE ${r_INPUT_FILE} "${r_INPUT}")
  endif()
  execute_process(COMMAND ${EMULATOR} ${program} ${r_ARGS}
                  INPUT_FILE ${r_INPUT_FILE} OUTPUT_VARIABLE out ERROR_VARIABLE err
                  RESULT_VARIABLE rc TIMEOUT 120)
  set(wrong "")
  if(NOT rc STREQUAL r_EXIT)
    string(APPEND wrong "  exit code ${rc}, not ${r_EXIT}\n")
  endif()
  foreach(pattern IN LISTS r_OUT)
    if(NOT out MATCHES "${pattern}")
      string(APPEND wrong "  standard output lacks: ${pattern}\n")
    endif()
  endforeach()
  foreach(pattern IN LISTS r_ERR)
    if(NOT err MATCHES "${pattern}")
      string(APPEND wrong "  standard error lacks: ${pattern}\n")
    endif()
  endforeach()
  foreach(pattern IN LISTS r_NEVER)
    if(out MATCHES "${pattern}" OR err MATCHES "${pattern}")
      string(APPEND wrong "  printed what must not run: ${pattern}\n")
    endif()
  endforeach()
  if(wrong)
    set(failures "${failures}row ${r_NAME}:\n${wrong}--- stdout:\n${out}--- stderr:\n${err}\n"
        PARENT_SCOPE)
  endif()
endfunction()

# What the demo prints when it loads the plug-in, sends an order or a cancel,
# or makes a query from the prompt.
set(loads "plug-in: ")
set(sends "sendOrder req=")
set(cancels "cancelOrder req=")
set(queries "-- (funds|positions|details|orders|fills) req=")
set(wait_long --timeout-ms 600000)
set(interactive --interactive --timeout-ms 5000)
string(REPEAT "x" 1100 long)
string(REPEAT " " 1018 pad1018)

# --- The command line: refused before anything is loaded (exit 2). ---------
row(NAME help ARGS --help
    OUT "^usage: demo_host" "--timeout-ms N +longest wait for one event, 1 to 3600000 \\(default 5000\\)"
        "--config FILE" "--user NAME +login user \\(default demo\\)"
    NEVER ${loads})
row(NAME timeout_overflows ARGS --timeout-ms 10000000000000 EXIT 2
    ERR "--timeout-ms takes a whole number of milliseconds from 1 to 3600000, not '10000000000000'"
    NEVER ${loads})
row(NAME timeout_with_exponent ARGS --timeout-ms 1e3 EXIT 2 ERR "--timeout-ms .*not '1e3'"
    NEVER ${loads})
row(NAME timeout_with_suffix ARGS --timeout-ms 100x EXIT 2 ERR "--timeout-ms .*not '100x'"
    NEVER ${loads})
row(NAME timeout_zero ARGS --timeout-ms 0 EXIT 2 ERR "--timeout-ms .*from 1 to 3600000, not '0'"
    NEVER ${loads})
row(NAME unknown_option ARGS --bogus EXIT 2
    ERR "unknown option '--bogus' \\(--help lists the options\\)" NEVER ${loads})
row(NAME option_without_value ARGS --user EXIT 2 ERR "--user needs a value" NEVER ${loads})
row(NAME option_with_empty_value ARGS --plugin "" EXIT 2 ERR "--plugin needs a value"
    NEVER ${loads})
row(NAME config_missing ARGS --config ${WORK}/no_such_file EXIT 2
    ERR "cannot read --config .*no_such_file" NEVER ${loads})
row(NAME instrument_unknown ARGS --instrument bogus EXIT 2
    ERR "--instrument: cannot tell the exchange of 'bogus': write it as CODE.EXCHANGE"
    NEVER ${loads})
row(NAME instrument_unknown_interactive ARGS --interactive --instrument rb2410.XYZ EXIT 2
    INPUT "funds\nquit\n" ERR "--instrument: unknown exchange 'XYZ' in 'rb2410.XYZ'"
    NEVER ${loads} ${queries})
row(NAME plugin_info_help PROGRAM plugin_info ARGS --help OUT "^usage: plugin_info"
    NEVER "cannot load" "Plugin Ver")
row(NAME plugin_info_unknown_option PROGRAM plugin_info ARGS --bogus EXIT 2
    ERR "unknown option '--bogus'" NEVER "cannot load" "Plugin Ver")

# --- The scripted day stops at a definitive failure, names it, exits 1. -----
row(NAME login_refused ARGS --password wrong ${wait_long} EXIT 1
    ERR "scripted day stopped: the login was refused \\(onLogin code=-11 \\[msg=.+\\]\\)"
    NEVER "MISSING" ${sends})
row(NAME connection_lost ARGS --config ${WORK}/dropping_counter ${wait_long} EXIT 1
    ERR "scripted day stopped: the connection failed or was lost \\(onDisconnected code=-7"
    NEVER "MISSING" "positions req=" "-- logout")
row(NAME counter_config_with_nul ARGS --config ${WORK}/nul_counter ${wait_long} EXIT 1
    ERR "stopped: .*code=-7 \\[msg=配置文件错误: .*nul_counter:2: control byte 0x00 at byte 16 of the line\\]\\)"
    NEVER "MISSING" "-- login")
row(NAME connection_failed ARGS --address tcp://unreachable.invalid:7001 ${wait_long} EXIT 1
    ERR "scripted day stopped: the connection failed or was lost \\(onDisconnected code=-7"
    NEVER "MISSING" "-- login")

# --- The prompt: a refused line sends nothing. -------------------------------
row(NAME long_line_runs_nothing ARGS ${interactive} INPUT "${long}buy rb2410 5 0\nquit\n"
    OUT "a line of 1114 bytes, refused whole: a line holds at most 1023 bytes" NEVER ${sends})
row(NAME line_of_1024_bytes ARGS ${interactive} INPUT "funds ${pad1018}\nquit\n"
    OUT "a line of 1024 bytes, refused whole" NEVER ${queries})
row(NAME line_of_1023_bytes_runs ARGS ${interactive} INPUT "funds${pad1018}\r\nquit\n"
    OUT "-- funds req=[0-9]+" NEVER "bytes, refused whole")
row(NAME line_with_nul_runs_nothing ARGS ${interactive} INPUT_FILE ${WORK}/nul_line
    OUT "a line with the control byte 0x00 at byte 11, refused whole" NEVER ${sends})
string(ASCII 1 soh)
row(NAME line_with_control_byte ARGS ${interactive} INPUT "funds${soh}\nquit\n"
    OUT "a line with the control byte 0x01 at byte 6, refused whole" NEVER ${queries})
row(NAME line_with_tab ARGS ${interactive} INPUT "buy\trb2410 1 0\nquit\n"
    OUT "a line with the control byte 0x09 at byte 4, refused whole" NEVER ${sends})
row(NAME quantity_with_exponent ARGS ${interactive} INPUT "buy rb2410 1e3 0\nquit\n"
    OUT "buy: QTY is a whole number of lots from 1 to 1000000, not '1e3'" NEVER ${sends})
row(NAME quantity_too_large ARGS ${interactive} INPUT "buy rb2410 1000001 0\nquit\n"
    OUT "buy: QTY .* not '1000001'" NEVER ${sends})
row(NAME quantity_zero ARGS ${interactive} INPUT "sell rb2410 0 0\nquit\n"
    OUT "sell: QTY .* not '0'" NEVER ${sends})
row(NAME quantity_fraction ARGS ${interactive} INPUT "buy rb2410 1.5 0\nquit\n"
    OUT "buy: QTY .* not '1.5'" NEVER ${sends})
row(NAME price_with_suffix ARGS ${interactive} INPUT "buy rb2410 1 100x\nquit\n"
    OUT "buy: PRICE is 0 \\(any price\\) or a price up to 100000000 \\(3650, 3650.5\\), not '100x'"
    NEVER ${sends})
row(NAME price_negative ARGS ${interactive} INPUT "buy rb2410 1 -1\nquit\n"
    OUT "buy: PRICE .* not '-1'" NEVER ${sends})
row(NAME price_with_exponent ARGS ${interactive} INPUT "buy rb2410 1 1e3\nquit\n"
    OUT "buy: PRICE .* not '1e3'" NEVER ${sends})
row(NAME price_too_high ARGS ${interactive} INPUT "buy rb2410 1 100000001\nquit\n"
    OUT "buy: PRICE .* not '100000001'" NEVER ${sends})
row(NAME offset_unknown ARGS ${interactive} INPUT "buy rb2410 1 0 sideways\nquit\n"
    OUT "buy: the last word is open, close or closetoday, not 'sideways'" NEVER ${sends})
row(NAME order_with_extra_word ARGS ${interactive} INPUT "buy rb2410 1 0 open now\nquit\n"
    OUT "buy: takes INSTRUMENT QTY PRICE \\[open\\|close\\|closetoday\\]" NEVER ${sends})
row(NAME exchange_unknown ARGS ${interactive} INPUT "buy nosuch.XYZ 1 0\nquit\n"
    OUT "buy: unknown exchange 'XYZ' in 'nosuch.XYZ' \\(the form CODE.EXCHANGE is right\\): EXCHANGE is one of BJ CFFEX CZCE DCE GFEX INE SH SHFE SZ"
    NEVER ${sends})
row(NAME exchange_not_known_from_code ARGS ${interactive} INPUT "buy nosuch 1 0\nquit\n"
    OUT "buy: cannot tell the exchange of 'nosuch': write it as CODE.EXCHANGE" NEVER ${sends})
row(NAME query_with_argument ARGS ${interactive} INPUT "funds now\nquit\n"
    OUT "funds: takes no arguments" NEVER ${queries})
row(NAME cancel_id_not_a_number ARGS ${interactive} INPUT "cancel x\nquit\n"
    OUT "cancel: takes one order ID as the demo printed it \\(000001, or 1\\)" NEVER ${cancels})
row(NAME cancel_two_ids ARGS ${interactive} INPUT "cancel 1 2\nquit\n"
    OUT "cancel: takes one order ID" NEVER ${cancels})
row(NAME cancel_order_never_sent ARGS ${interactive} INPUT "cancel 7\nquit\n"
    OUT "cancel: no order 000007 was sent" NEVER ${cancels})
row(NAME unknown_command ARGS ${interactive} INPUT "frobnicate 1\nquit\n"
    OUT "frobnicate: unknown command \\(help lists them\\)" NEVER ${sends} ${queries})

# --- What the prompt accepts, and says it did. -------------------------------
row(NAME cancel_by_number ARGS ${interactive} INPUT "buy rb2410 1 3600\ncancel 1\nquit\n"
    OUT "cancelOrder req=[0-9]+ client=demo@000001 exchangeId=0+1"
        "onOrderCanceled +req=-1 +code=0 +rb2410.SHFE client=demo@000001")
row(NAME order_echo_names_the_offset ARGS ${interactive} INPUT "sell rb2410.SHFE 1 0 close\nquit\n"
    OUT "sendOrder req=[0-9]+ client=demo@000001 sell close rb2410.SHFE 1 @ any price")
row(NAME quit_after_lost_connection ARGS --config ${WORK}/dropping_counter --interactive ${wait_long}
    INPUT "buy rb2410 1 0\nquit\n"
    OUT "onDisconnected +req=0 +code=-7"
        "-- no logout: the connection failed or was lost \\(onDisconnected code=-7"
    NEVER "-- logout")

if(failures)
  message(FATAL_ERROR "${failures}")
endif()
