# The rule against thread-local storage with a destructor in the libraries
# we ship, and proof that each half of it refuses a bad case:
#  - scripts/check_thread_locals.sh on small source trees, one per row
#    (file, its one line, the exit status expected), then on this tree;
#  - kestrel::ThreadSlot compiled with values that have a destructor (refused,
#    naming the rule) and with one that has none (compiles).
# Arguments: CHECK (the script), SOURCE (this tree), WORK, SLOT_CASES (the
# folder of the compile results).
cmake_minimum_required(VERSION 3.25)  # if() reads quoted texts as texts
file(REMOVE_RECURSE ${WORK})

set(rows
  "broker/bad.cc|thread_local std::vector<int> pending|1"
  "recorder/journal/bad.h|static __thread int depth = 0|1"
  "host/common/bad.cc|__declspec( thread ) int depth|1"
  "spi/bad.cc|static boost::thread_specific_ptr<int> slot|1"
  "identity/bad.cc|pthread_key_create(&key, &destroy)|1"
  "spi/named.cc|int depth = 0  // was a thread_local once|0"
  "session/slot.cc|using Depth = kestrel::ThreadSlot<int, struct DepthTag>|0"
  "plugin/thread_slot.h|thread_local T value{}|0"
  "tests/program.cc|thread_local std::string scratch|0")
set(row_number 0)
foreach(row IN LISTS rows)
  math(EXPR row_number "${row_number} + 1")
  string(REPLACE "|" ";" fields "${row}")
  list(GET fields 0 path)
  list(GET fields 1 line)
  list(GET fields 2 want)
  set(root ${WORK}/tree${row_number})
  # Every library folder exists, as in the real tree.
  foreach(dir plugin session identity spi host/common broker recorder tests)
    file(MAKE_DIRECTORY ${root}/${dir})
  endforeach()
  file(WRITE ${root}/${path} "${line};\n")
  execute_process(COMMAND ${CHECK} ${root} OUTPUT_VARIABLE out ERROR_VARIABLE err
                  RESULT_VARIABLE rc)
  if(NOT rc STREQUAL want)
    message(FATAL_ERROR "row ${row_number} (${path}: ${line}): exit ${rc}, not ${want}\n${out}${err}")
  endif()
  if(want EQUAL 1 AND NOT err MATCHES "${path}:1:")
    message(FATAL_ERROR "row ${row_number}: the refusal does not name ${path}:1\n${err}")
  endif()
endforeach()

execute_process(COMMAND ${CHECK} ${SOURCE} OUTPUT_VARIABLE out ERROR_VARIABLE err
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the libraries' sources hold thread-local storage:\n${out}${err}")
endif()

# The compile-time half, compiled at configure time with this build's
# compiler (tests/CMakeLists.txt): one line per value type, "type|whether it
# must compile|whether it did", and each compiler's output.
file(STRINGS ${SLOT_CASES}/cases.txt cases)
list(LENGTH cases count)
if(count LESS 3)
  message(FATAL_ERROR "${SLOT_CASES}/cases.txt holds ${count} cases")
endif()
set(index 0)
foreach(row IN LISTS cases)
  string(REPLACE "|" ";" fields "${row}")
  list(GET fields 0 type)
  list(GET fields 1 wanted)
  list(GET fields 2 compiled)
  file(READ ${SLOT_CASES}/case${index}.log output)
  math(EXPR index "${index} + 1")
  if(wanted AND NOT compiled)
    message(FATAL_ERROR "ThreadSlot<${type}> does not compile:\n${output}")
  endif()
  if(NOT wanted)
    if(compiled)
      message(FATAL_ERROR "ThreadSlot<${type}> compiled: a value with a destructor got through")
    endif()
    if(NOT output MATCHES "must be trivially destructible")
      message(FATAL_ERROR "ThreadSlot<${type}> was refused, but not by the rule:\n${output}")
    endif()
  endif()
endforeach()
