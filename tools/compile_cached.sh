#!/bin/sh
# Runs a compiler through ccache; CMake calls it in front of every compilation.
#
# ccache knows a precompiled header by its preprocessed text, in which no macro is left: a header that differs in its
# macros alone would be given back as it was before. The macros are therefore listed in a file of their own, which
# ccache is told to take into account. An old precompiled header is deleted first, since the preprocessor would read it
# in place of the headers that the new one is made from.
#
# Usage: tools/compile_cached.sh compiler argument...
set -eu
export CCACHE_SLOPPINESS=pch_defines,time_macros

# list_macros OUTPUT COMMAND...: runs the command as a preprocessor that writes the macros to OUTPUT.macros.
list_macros() {
    precompiled=$1
    shift
    count=$#
    while [ "$count" -gt 0 ]; do
        if [ "$1" = -o ] && [ "$2" = "$precompiled" ]; then
            shift 2
            count=$((count - 2))
        else
            set -- "$@" "$1"
            shift
            count=$((count - 1))
        fi
    done
    "$@" -E -dM >"$precompiled.macros"
}

output=
previous=
for argument in "$@"; do
    [ "$previous" != -o ] || output=$argument
    previous=$argument
done
case $output in
    *.gch)
        rm -f -- "$output"
        list_macros "$output" "$@"
        export CCACHE_EXTRAFILES="$output.macros"
        ;;
esac
exec ccache "$@"
