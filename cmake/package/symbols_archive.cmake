# Run by CPack after it made the win64 .zip (CPACK_POST_BUILD_SCRIPTS): the
# PDBs of every shipped binary, installed as component "symbols" (which no
# other install includes) in the layout of the .zip, into a .zip of their
# own beside it: <package>-symbols.zip. A debugger or crash-dump reader
# pointed at its folders finds each binary's PDB by the file name and
# GUID that the binary's debug directory records.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "\\.zip$")
    continue()
  endif()
  # CPack hands the archive over from its own folder; the symbols go beside
  # where it lands.
  get_filename_component(top "${package}" NAME)
  string(REGEX REPLACE "\\.zip$" "" top "${top}")
  set(base "${CPACK_PACKAGE_DIRECTORY}/${top}")
  set(stage "${CPACK_PACKAGE_DIRECTORY}/_symbols")
  file(REMOVE_RECURSE "${stage}")
  execute_process(COMMAND ${CMAKE_COMMAND} --install "${CPACK_KS_BUILD_DIR}" --component symbols
                          --prefix "${stage}/${top}-symbols"
                  RESULT_VARIABLE failed OUTPUT_QUIET)
  if(failed)
    message(FATAL_ERROR "installing the symbols of ${CPACK_KS_BUILD_DIR} failed")
  endif()
  execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf "${base}-symbols.zip" --format=zip
                          "${top}-symbols"
                  WORKING_DIRECTORY "${stage}" RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "packing ${base}-symbols.zip failed")
  endif()
  file(REMOVE_RECURSE "${stage}")
  message(STATUS "symbols archive: ${base}-symbols.zip")
endforeach()
