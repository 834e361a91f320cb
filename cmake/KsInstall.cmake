# Install rules, the CMake package and the release archives (CPack).
#
# Layout under the prefix:
#   bin/                         the plug-in, the simulated counter XtTraderApi
#                                and the Common stand-in, demo_host, plugin_info,
#                                config/xt_config and config/xt_config.chaos:
#                                one folder, as a host installs them (each
#                                program finds the plug-in, the plug-in its
#                                libraries and the counter its configuration
#                                beside itself)
#   journal/record/              the recording plug-in and vendor library with
#                                KSJournal, and the plug-in and the simulated
#                                counter beside them as *_real: an installation
#                                that records both boundaries (docs/journal.md)
#   journal/tools/               journal_dump, journal_replay, journal_report,
#                                the replay's XtTraderApi and a copy of Common
#   include/KSTraderAPIPluginXT/ the headers a host compiles against
#   lib/                         import libraries (Windows)
#   lib/cmake/KSTraderAPIPluginXT/ the package: find_package(KSTraderAPIPluginXT
#                                CONFIG) gives KSTraderAPIPluginXT::plugin,
#                                ::headers, ::SimulatedXtTraderApi, ::CommonStandIn
#   README.txt                   what is what (cmake/package/README.txt, with
#                                the build's note on the Windows binaries)
#
# Components: "runtime" (bin/ and the README) and "development" (headers,
# package, import libraries). Every archive holds both.
include(CMakePackageConfigHelpers)

set(KS_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KSTraderAPIPluginXT)

# The stand-ins say what they are in the package's target names.
set_target_properties(KSTraderAPIPluginXT PROPERTIES EXPORT_NAME plugin)
set_target_properties(XtTraderApi PROPERTIES EXPORT_NAME SimulatedXtTraderApi)
set_target_properties(Common PROPERTIES EXPORT_NAME CommonStandIn)

set(KS_INSTALLED_TARGETS KSTraderAPIPluginXT XtTraderApi Common)
install(TARGETS ks_plugin_headers ${KS_INSTALLED_TARGETS}
  EXPORT KSTraderAPIPluginXTTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(TARGET demo_host)
  list(APPEND KS_INSTALLED_TARGETS demo_host plugin_info)
  install(TARGETS demo_host plugin_info RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

# The journal, in two folders as in the build tree (recorder/CMakeLists.txt):
# the recorders stand in for the plug-in and the vendor library under their
# names, so they cannot share bin/ with them.
set(KS_JOURNAL_RECORD_DEST journal/record)
set(KS_JOURNAL_TOOLS_DEST journal/tools)
install(TARGETS KSJournal journal_recording_plugin journal_recording_vendor
  RUNTIME DESTINATION ${KS_JOURNAL_RECORD_DEST} COMPONENT runtime
  LIBRARY DESTINATION ${KS_JOURNAL_RECORD_DEST} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/journal COMPONENT development)
install(TARGETS journal_dump journal_replay journal_report journal_replay_vendor Common
  RUNTIME DESTINATION ${KS_JOURNAL_TOOLS_DEST} COMPONENT runtime
  LIBRARY DESTINATION ${KS_JOURNAL_TOOLS_DEST} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/journal COMPONENT development)
list(APPEND KS_INSTALLED_TARGETS KSJournal journal_recording_plugin journal_recording_vendor
     journal_dump journal_replay journal_report journal_replay_vendor)

# ks_install_real_copy(target): the target's file as installed in bin/
# (stripped, when the install strips) copied into the record folder under
# its name with "_real" added, where the recorder that stands in for it
# loads it. Runs after the rules above, which install bin/.
function(ks_install_real_copy target)
  set(from "$<TARGET_FILE_NAME:${target}>")
  set(to "$<TARGET_FILE_PREFIX:${target}>$<TARGET_FILE_BASE_NAME:${target}>_real")
  string(APPEND to "$<TARGET_FILE_SUFFIX:${target}>")
  install(CODE "file(INSTALL \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${from}\"
                     DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${KS_JOURNAL_RECORD_DEST}\"
                     RENAME \"${to}\" USE_SOURCE_PERMISSIONS)"
          COMPONENT runtime)
endfunction()
ks_install_real_copy(KSTraderAPIPluginXT)
ks_install_real_copy(XtTraderApi)

# Everything the install rules copy, for builds that need no more
# (make package, make demo).
add_custom_target(ks_installed)
add_dependencies(ks_installed ${KS_INSTALLED_TARGETS} xt_sample_config)

install(FILES config/xt_config config/xt_config.chaos DESTINATION ${CMAKE_INSTALL_BINDIR}/config
        COMPONENT runtime)
# The README says what the Windows binaries need: those of the build in
# Visual C++'s ABI are the ones a host loads; the mingw-w64 build's serve
# this project's own tests only.
if(MINGW)
  set(KS_WINDOWS_BINARIES_NOTE
      "These Windows DLLs and programs are built with mingw-w64 in GCC's C++ ABI,
for this project's own tests: a host built with Visual C++ cannot use them.
The released win64 archive holds the build in Visual C++'s ABI.")
else()
  set(KS_WINDOWS_BINARIES_NOTE
      "The DLLs and programs are built in Visual C++'s C++ ABI with its standard
library, for hosts built with Visual C++ 2015, 2017, 2019 or 2022.")
endif()
# The Windows archive's README is its own, with Windows line ends; the
# Windows floor is docs/windows.md's (tests/windows/release_binaries_test.py
# holds the binaries to it).
set(KS_WINDOWS_FLOOR "Windows 7 SP1 or later (Windows 7 and 8.1 with the Universal C Runtime
update KB2999226, which the Redistributable installs)")
if(WIN32 AND NOT MINGW)
  configure_file(cmake/package/README-windows.txt ${CMAKE_CURRENT_BINARY_DIR}/README.lf @ONLY)
  file(READ ${CMAKE_CURRENT_BINARY_DIR}/README.lf ks_readme)
  string(REPLACE "\n" "\r\n" ks_readme "${ks_readme}")
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/README.crlf "${ks_readme}")
  configure_file(${CMAKE_CURRENT_BINARY_DIR}/README.crlf ${CMAKE_CURRENT_BINARY_DIR}/README.txt
                 COPYONLY)
else()
  configure_file(cmake/package/README.txt ${CMAKE_CURRENT_BINARY_DIR}/README.txt @ONLY)
endif()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/README.txt DESTINATION . COMPONENT runtime)

set(KS_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/KSTraderAPIPluginXT)
foreach(header IN LISTS KS_INSTALLED_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${KS_HEADER_DIR}/${folder} COMPONENT development)
endforeach()

install(EXPORT KSTraderAPIPluginXTTargets
  NAMESPACE KSTraderAPIPluginXT::
  DESTINATION ${KS_PACKAGE_DIR}
  COMPONENT development)
if(WIN32 AND NOT MINGW)
  set(KS_PACKAGE_RELEASE_RUNTIME_ONLY ON)
else()
  set(KS_PACKAGE_RELEASE_RUNTIME_ONLY OFF)
endif()
configure_package_config_file(cmake/KSTraderAPIPluginXTConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KSTraderAPIPluginXTConfig.cmake
  INSTALL_DESTINATION ${KS_PACKAGE_DIR})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/KSTraderAPIPluginXTConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/KSTraderAPIPluginXTConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/KSTraderAPIPluginXTConfigVersion.cmake
  DESTINATION ${KS_PACKAGE_DIR} COMPONENT development)

# --- Archives ----------------------------------------------------------------
# Linux: a .tar.gz and a .deb (under /opt/KSTraderAPIPluginXT); Windows: a
# .zip. Each of the whole install, in <build>/package; stripped.
set(CPACK_PACKAGE_NAME KSTraderAPIPluginXT)
set(CPACK_PACKAGE_VENDOR "Kestrel")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Trading-session plug-in over XtTraderApi, with a simulated counter and a demo host")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/package/CPackProjectConfig.cmake)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
else()
  set(CPACK_GENERATOR TGZ DEB)
  set(CPACK_DEBIAN_PACKAGE_NAME kstraderapipluginxt)
  set(CPACK_DEBIAN_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-Linux.deb)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "KSTraderAPIPluginXT maintainers")
  set(CPACK_DEBIAN_PACKAGE_SECTION devel)
  # The newest symbol versions the binaries need: GLIBC_2.34, GLIBCXX_3.4.30.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1, libstdc++6 (>= 12)")
endif()
# The build in Visual C++'s ABI: version resources, PDBs in a symbols
# archive of their own.
if(WIN32 AND NOT MINGW)
  include(cmake/KsWindowsRelease.cmake)
  foreach(target IN LISTS KS_INSTALLED_TARGETS)
    set(destination ${CMAKE_INSTALL_BINDIR})
    if(target MATCHES "^(KSJournal|journal_recording_plugin|journal_recording_vendor)$")
      set(destination ${KS_JOURNAL_RECORD_DEST})
    elseif(target MATCHES "^journal_")
      set(destination ${KS_JOURNAL_TOOLS_DEST})
    endif()
    ks_windows_release_binary(${target} ${destination})
  endforeach()
  set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package/symbols_archive.cmake)
  set(CPACK_KS_BUILD_DIR ${CMAKE_BINARY_DIR})
endif()
include(CPack)
