# What every shipped binary of the build in Visual C++'s ABI carries besides
# its code, as a Visual C++ release build does (docs/windows.md):
#   - a version resource (cmake/windows/version.rc.in, compiled by llvm-rc):
#     file and product version from the project's, product name, the file's
#     description below;
#   - its PDB, installed into the symbols archive only (component "symbols",
#     left out of every other install; cmake/package/symbols_archive.cmake).
# The security cookie, the load configuration and the PDB's file name come
# from the toolchain (cmake/clang-msvc-x86_64.cmake) and its runtime
# (cmake/msvc/runtime). Included by KsInstall.cmake, for that build only.

# One row per shipped binary: target|description. A binary without a row is
# described by its name.
set(KS_WINDOWS_FILE_DESCRIPTIONS
    "KSTraderAPIPluginXT|Trading-session plug-in over XtTraderApi"
    "XtTraderApi|Simulated counter standing in for the vendor library XtTraderApi"
    "Common|Stand-in for the host's Common library"
    "demo_host|Demo host: trades a scripted day through the plug-in"
    "plugin_info|Prints the description of the plug-in beside it"
    "KSJournal|The journal's writer, shared by the two recorders"
    "journal_recording_plugin|Recording plug-in: journals what crosses the host boundary"
    "journal_recording_vendor|Recording vendor library: journals what crosses the vendor boundary"
    "journal_dump|Prints a journal"
    "journal_replay|Replays a journal against a build of the plug-in"
    "journal_replay_vendor|Vendor library that answers from a journal during a replay")

set(KS_WINDOWS_RC_TEMPLATE ${PROJECT_SOURCE_DIR}/cmake/windows/version.rc.in)

# ks_windows_release_binary(target DESTINATION): the version resource, and the
# PDB installed beside where the binary installs, in component "symbols".
function(ks_windows_release_binary target destination)
  set(KS_RC_TARGET ${target})
  set(KS_RC_DESCRIPTION "${target} of KSTraderAPIPluginXT")
  foreach(row IN LISTS KS_WINDOWS_FILE_DESCRIPTIONS)
    string(REPLACE "|" ";" fields "${row}")
    list(GET fields 0 name)
    if(name STREQUAL target)
      list(GET fields 1 KS_RC_DESCRIPTION)
    endif()
  endforeach()
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    set(KS_RC_FILE_TYPE 0x1)
  else()
    set(KS_RC_FILE_TYPE 0x2)
  endif()
  set(KS_RC_FILE_NAME "$<TARGET_FILE_NAME:${target}>")
  set(KS_RC_COMPANY "${CPACK_PACKAGE_VENDOR}")
  set(KS_RC_PRODUCT "${PROJECT_NAME}")
  set(version ${PROJECT_VERSION_MAJOR} ${PROJECT_VERSION_MINOR} 0 0)
  if(PROJECT_VERSION_PATCH)
    list(REMOVE_AT version 2)
    list(INSERT version 2 ${PROJECT_VERSION_PATCH})
  endif()
  list(JOIN version "," KS_RC_VERSION_COMMAS)
  list(JOIN version "." KS_RC_VERSION_DOTS)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/version_resources)
  configure_file(${KS_WINDOWS_RC_TEMPLATE} ${dir}/${target}.rc.in @ONLY)
  file(GENERATE OUTPUT ${dir}/${target}.rc INPUT ${dir}/${target}.rc.in)
  target_sources(${target} PRIVATE ${dir}/${target}.rc)

  install(FILES $<TARGET_PDB_FILE:${target}> DESTINATION ${destination}
          COMPONENT symbols EXCLUDE_FROM_ALL)
endfunction()
