#!/bin/sh
# Runs a test program on a virtual screen of its own:
#     with_display.sh program arguments...         a native program
#     with_display.sh wine program arguments...    a program of the Windows build
#
# Without xvfb-run there is no screen of our own to give: the program runs
# with no display at all (DISPLAY and WAYLAND_DISPLAY taken away), so that
# its dialog tests skip rather than open windows on the desktop of whoever
# runs them.
#
# Under wine, the desktop process takes its screen from the process that
# starts it, and the one that the configure step started has none, so a
# dialog would find no screen.  These tests run alone (RUN_SERIAL), which
# lets this script end wine's processes, run the test with a wine server of
# its own on its own screen, end that server, and start the shared one
# again with no screen and no pipe, as the configure step left it.
#
# xvfb-run -a looks for a free display upwards from its start number; each
# run starts from a number of its own.  The screen has 24-bit colour, as a
# desktop has; xvfb-run's own default is 8 bits.
if ! command -v xvfb-run >/dev/null 2>&1; then
    unset DISPLAY WAYLAND_DISPLAY
    exec "$@"
fi
on_screen() {
    xvfb-run -a -n $((100 + $$ % 800)) -s "-screen 0 1280x1024x24" "$@"
}
case "$(basename "$1")" in
wine*) ;;
*)
    # GTK's libraries are not built for the sanitizers: they keep memory to
    # the end, and their threads synchronise out of ThreadSanitizer's sight.
    here=$(dirname "$0")
    LSAN_OPTIONS="suppressions=$here/gui_leaks.supp${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
    TSAN_OPTIONS="ignore_noninstrumented_modules=1${TSAN_OPTIONS:+:$TSAN_OPTIONS}"
    export LSAN_OPTIONS TSAN_OPTIONS
    unset WAYLAND_DISPLAY
    on_screen "$@"
    exit
    ;;
esac
wineserver -k 2>/dev/null
wineserver -w 2>/dev/null
on_screen "$@"
status=$?
wineserver -k 2>/dev/null
wineserver -w 2>/dev/null
wineserver -p </dev/null >/dev/null 2>&1
"$1" cmd.exe /c exit </dev/null >/dev/null 2>&1
exit $status
