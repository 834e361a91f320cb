# The Windows cross builds' test programs (and test discovery) run under
# Wine, headless and quiet, in a prefix inside the build tree, never in the
# user's ~/.wine. scripts/windows-test.sh creates that prefix and starts
# Wine's services before CTest runs (see there why). Wine's debugger stays
# off: with it, a program that crashes ends with exit code 0 once the
# debugger has printed its report, and CTest would count the crash a pass;
# without it the program ends with the exception's code and Wine names the
# fault on standard error. scripts/wine_run.sh starts each program, and
# starts it again when Wine itself failed to start the process. Included by
# both Windows toolchain files.
find_program(KS_WINE wine REQUIRED)
find_program(KS_ENV env REQUIRED)
get_filename_component(KS_WINE_RUN ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine_run.sh ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${KS_ENV} -u DISPLAY -u WAYLAND_DISPLAY
    WINEPREFIX=${CMAKE_BINARY_DIR}/.wine WINEARCH=win64 WINEDEBUG=-all
    WINEDLLOVERRIDES=winedbg.exe=d
    ${KS_WINE_RUN} ${KS_WINE})
