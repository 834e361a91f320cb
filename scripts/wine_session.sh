# Sourced by the scripts that run the Windows build's programs under Wine:
# `wine_session BUILD_DIR` prepares the build's Wine prefix (BUILD_DIR/.wine;
# the toolchain's emulator points there too), headless and quiet, starts its
# wineserver and services, and ends them (and every Wine process of this
# prefix) when the calling script exits.
#
# Wine's background services inherit the output pipe of whoever starts them
# first; if that is a test, CTest waits for them (about 2.5 s per test, or
# for ever with a persistent wineserver). So they are started here, with
# their output going nowhere.
wine_session() {
  export WINEPREFIX="$1/.wine" WINEARCH=win64 WINEDEBUG=-all
  # No debugger: a program that crashes then ends with the exception's code,
  # not 0 (cmake/KsWineEmulator.cmake).
  export WINEDLLOVERRIDES=winedbg.exe=d
  unset DISPLAY WAYLAND_DISPLAY
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    # No Mono or Gecko: nothing here needs .NET or HTML, and there is nothing
    # to download them from.
    WINEDLLOVERRIDES="mscoree=;mshtml=" wineboot -i </dev/null >/dev/null 2>&1
    wineserver -w
  fi
  wineserver -p
  trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
  wine cmd /c exit 0 </dev/null >/dev/null 2>&1
}
