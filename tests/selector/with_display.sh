#!/bin/sh
# Runs a test program on a virtual screen of its own.  xvfb-run -a looks
# for a free display upwards from its start number; tests that start at
# the same moment would all try the same one, so each starts from a
# number of its own.
exec xvfb-run -a -n $((100 + $$ % 800)) "$@"
