#!/bin/sh
# Runs a compiler through ccache; CMake calls it in front of every compilation.
#
# ccache knows a precompiled header by its preprocessed text, in which no macro is left: a header that differs in its
# macros alone would be given back as it was before. The macros are therefore listed in a file of their own, which
# ccache is told to take into account. An old precompiled header is deleted first, since the preprocessor would read it
# in place of the headers that the new one is made from.
#
# To know a source by its precompiled header, ccache would read all of that, up to 100 MB, for each of the sources. A
# checksum beside the header (its .sum file) is read in its place.
#
# Usage: tools/compile_cached.sh compiler argument...
set -eu
export CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_PCH_EXTSUM=1

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
        rm -f -- "$output" "$output.sum"
        list_macros "$output" "$@"
        export CCACHE_EXTRAFILES="$output.macros"
        ccache "$@"
        b2sum <"$output" >"$output.sum"
        exit
        ;;
esac
exec ccache "$@"
