#!/bin/sh
# A picture of the file dialog, taken on a virtual screen:
#     screenshots.sh picture.png build/release/tests/selector/selector_tests
#     screenshots.sh picture.png wine build/windows/bin/selector_tests.exe
#
# The test FileDialog.StaysUpForAPicture of the program shows the dialog
# with the template, a few files and recent folders, under the title given
# in CVZ_DIALOG_PICTURE.  This script waits for that window, lets it draw,
# captures it as PNG and closes the dialog with Escape.  It needs xvfb-run,
# xdotool, xwd (x11-apps) and netpbm.  Under wine the dialog needs a wine
# server started on the virtual screen, so the running one is ended first
# and the one of the picture after.
set -eu
png=$1
shift
title="Open a letter"

if [ -z "${CVZ_PICTURE_SCREEN:-}" ]; then
    case "$(basename "$1")" in
    wine*) wine=yes ;;
    *) wine= ;;
    esac
    [ -z "$wine" ] || { wineserver -k 2>/dev/null; wineserver -w 2>/dev/null; } || true
    status=0
    CVZ_PICTURE_SCREEN=1 xvfb-run -a -s "-screen 0 1920x1440x24" "$0" "$png" "$@" || status=$?
    [ -z "$wine" ] || { wineserver -k 2>/dev/null; wineserver -w 2>/dev/null; } || true
    exit $status
fi

unset WAYLAND_DISPLAY
CVZ_DIALOG_PICTURE="$title" "$@" --gtest_filter=FileDialog.StaysUpForAPicture &
test=$!
window=$(timeout 60 xdotool search --sync --name "^$title\$" | head -n 1)
sleep 3
xwd -silent -id "$window" | xwdtopnm 2>/dev/null | pnmtopng >"$png"
xdotool windowfocus --sync "$window" key Escape
wait $test
