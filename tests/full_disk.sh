#!/bin/sh
# The FullDisk fixture of the tests: "mount FOLDER" puts a tmpfs of 256 KB
# on FOLDER, empty but for the marker file "mounted"; "unmount FOLDER" takes
# it away.  Mounting needs root; without it the folder stays ordinary and
# the tests that need a full disk skip.
set -eu
action=$1
folder=$2
case $action in
mount)
    mkdir -p "$folder"
    if [ "$(id -u)" != 0 ]; then
        echo "not root: no small disk at $folder, the tests that fill one skip"
        exit 0
    fi
    if ! mountpoint -q "$folder"; then
        mount -t tmpfs -o size=256k,mode=0777 cvz-full-disk "$folder"
    fi
    find "$folder" -mindepth 1 -delete
    : >"$folder/mounted"
    ;;
unmount)
    if mountpoint -q "$folder"; then
        umount "$folder"
    fi
    ;;
*)
    echo "usage: $0 mount|unmount FOLDER" >&2
    exit 2
    ;;
esac
