#!/bin/sh
# Runs a test program of the Windows build under wine, on a virtual screen
# of its own: with_display.sh wine program arguments...
#
# Wine's desktop process takes its screen from the process that starts it,
# and the one that the configure step started has none, so a dialog would
# find no screen.  These tests run alone (RUN_SERIAL), which lets this
# script end wine's processes, run the test with a wine server of its own
# on its own screen, end that server, and start the shared one again with
# no screen and no pipe, as the configure step left it.
#
# xvfb-run -a looks for a free display upwards from its start number; each
# run starts from a number of its own.
wineserver -k 2>/dev/null
wineserver -w 2>/dev/null
xvfb-run -a -n $((100 + $$ % 800)) "$@"
status=$?
wineserver -k 2>/dev/null
wineserver -w 2>/dev/null
wineserver -p </dev/null >/dev/null 2>&1
"$1" cmd.exe /c exit </dev/null >/dev/null 2>&1
exit $status
