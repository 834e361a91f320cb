# Drives the demo host's interactive mode through standard input and checks
# what it prints: a session of commands that all run (bad input is
# demo_refusals.cmake's). Arguments: PROGRAM, INPUT, and optionally EMULATOR.
execute_process(
  COMMAND ${EMULATOR} ${PROGRAM} --interactive --timeout-ms 5000
  INPUT_FILE ${INPUT}
  OUTPUT_VARIABLE out
  ERROR_VARIABLE err
  RESULT_VARIABLE rc
  TIMEOUT 60)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "demo_host --interactive exited with ${rc}\n${out}\n${err}")
endif()
set(expected
  "onAccountFundsResponse"
  "sendOrder req=[0-9]+ client=demo@000001 buy open rb2410.SHFE 2 @ any price"
  "order 000001 sent"
  "onOrderFilled +req=-1 +code=0 +rb2410.SHFE client=demo@000001"
  "onFill +req=-1 +code=0 +rb2410.SHFE client=demo@000002 .* dir=2 offset=5 vol=1"
  "onOrderAccepted +req=-1 +code=0 +rb2410.SHFE client=demo@000003"
  "onOrderCanceled +req=-1 +code=0 +rb2410.SHFE client=demo@000003"
  "onPositionsResponse .* long today=1"
  "onPositionDetailsResponse"
  "onOrdersResponse"
  "onFillsResponse"
  "onLogout +req=0 +code=0"
  "onDisconnected +req=0 +code=0")
foreach(pattern IN LISTS expected)
  if(NOT out MATCHES "${pattern}")
    message(FATAL_ERROR "missing in the demo's output: ${pattern}\n${out}")
  endif()
endforeach()
