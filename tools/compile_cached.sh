#!/bin/sh
# Runs a compiler through ccache; CMake calls it in front of every compilation.
#
# A precompiled header that is about to be made anew is deleted first. Its source includes the very header that it is
# made from, so ccache's preprocessor would read the old one instead, see no change, and give back what was compiled
# from the old headers.
#
# Usage: tools/compile_cached.sh compiler argument...
set -eu
export CCACHE_SLOPPINESS=pch_defines,time_macros
output=
previous=
for argument in "$@"; do
    [ "$previous" != -o ] || output=$argument
    previous=$argument
done
case $output in
    *.gch) rm -f -- "$output" ;;
esac
exec ccache "$@"
