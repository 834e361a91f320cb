# Makes a full import library of a DLL from the DLL's own export table, in
# place of the import libraries of Visual C++ and the Windows SDK (Wine's
# leave out every C++-decorated export).
#
#   cmake -DDLL=<x.dll> -DLIB=<x.lib> -DOBJDUMP=llvm-objdump -DDLLTOOL=llvm-dlltool -P import_lib.cmake
execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE dump RESULT_VARIABLE failed)
if(failed OR NOT dump MATCHES "\nExport Table:\n")
  message(FATAL_ERROR "no export table in ${DLL}")
endif()
string(REGEX REPLACE ".*\nExport Table:\n" "" exports "${dump}")
string(REGEX REPLACE "\n\n.*" "" exports "${exports}")
string(REPLACE "\n" ";" lines "${exports}")
get_filename_component(name ${DLL} NAME)
set(def "LIBRARY ${name}\nEXPORTS\n")
set(count 0)
foreach(line IN LISTS lines)
  # "  <ordinal>  [<rva>]  <name> [(forwarded to ...)]"
  if(line MATCHES "^ +[0-9]+ +(0x[0-9a-fA-F]+ +)?([^ ]+)")
    string(APPEND def "  ${CMAKE_MATCH_2}\n")
    math(EXPR count "${count} + 1")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "no exports read from ${DLL}")
endif()
file(WRITE ${LIB}.def "${def}")
execute_process(COMMAND ${DLLTOOL} -m i386:x86-64 -d ${LIB}.def -l ${LIB} RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "${DLLTOOL} failed for ${DLL}")
endif()
