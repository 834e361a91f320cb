# Read by cpack for each generator. The .deb installs the one-folder layout
# under /opt, where a bin/ holding libraries and a config/ folder belong; the
# archives keep their paths relative.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_PACKAGING_INSTALL_PREFIX /opt/KSTraderAPIPluginXT)
endif()
