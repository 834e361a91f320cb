# Install rules, the CMake package and the release archives (CPack).
#
# Layout under the prefix:
#   bin/                         the plug-in, the simulated counter XtTraderApi
#                                and the Common stand-in, demo_host, plugin_info,
#                                config/xt_config: one folder, as a host installs
#                                them (each program finds the plug-in, the
#                                plug-in its libraries and the counter its
#                                configuration beside itself)
#   include/KSTraderAPIPluginXT/ the headers a host compiles against
#   lib/                         import libraries (Windows)
#   lib/cmake/KSTraderAPIPluginXT/ the package: find_package(KSTraderAPIPluginXT
#                                CONFIG) gives KSTraderAPIPluginXT::plugin,
#                                ::headers, ::SimulatedXtTraderApi, ::CommonStandIn
#   README.txt                   what is what (cmake/package/README.txt)
#
# Components: "runtime" (bin/ and the README) and "development" (headers,
# package, import libraries). The Windows archive holds the runtime only.
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
# Everything the install rules copy, for builds that need no more
# (make package, make demo).
add_custom_target(ks_installed)
add_dependencies(ks_installed ${KS_INSTALLED_TARGETS} xt_sample_config)

install(FILES config/xt_config DESTINATION ${CMAKE_INSTALL_BINDIR}/config COMPONENT runtime)
install(FILES cmake/package/README.txt DESTINATION . COMPONENT runtime)

set(KS_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/KSTraderAPIPluginXT)
install(FILES
  plugin/common.h
  plugin/export.h
  plugin/host_records.h
  plugin/mutex.h
  plugin/plugin_entry.h
  plugin/result_status.h
  plugin/trade_session.h
  plugin/trade_session_spi.h
  DESTINATION ${KS_HEADER_DIR}/plugin COMPONENT development)
install(FILES identity/client_id_set.h DESTINATION ${KS_HEADER_DIR}/identity COMPONENT development)

install(EXPORT KSTraderAPIPluginXTTargets
  NAMESPACE KSTraderAPIPluginXT::
  DESTINATION ${KS_PACKAGE_DIR}
  COMPONENT development)
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
# Linux: a .tar.gz and a .deb (under /opt/KSTraderAPIPluginXT) of the whole
# install; Windows (the mingw-w64 cross build): a .zip of the runtime. Both in
# <build>/package; stripped.
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
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_COMPONENTS_ALL runtime)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR TGZ DEB)
  set(CPACK_DEBIAN_PACKAGE_NAME kstraderapipluginxt)
  set(CPACK_DEBIAN_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-Linux.deb)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "KSTraderAPIPluginXT maintainers")
  set(CPACK_DEBIAN_PACKAGE_SECTION devel)
  # The newest symbol versions the binaries need: GLIBC_2.34, GLIBCXX_3.4.30.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.34), libgcc-s1, libstdc++6 (>= 12)")
endif()
include(CPack)
