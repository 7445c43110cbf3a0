#!/bin/sh
# Compiles one source of a changed tree: a change that only earns a warning is no reason to refuse it.
#
# A source with changes in it is compiled with its assertions and those of the C++ library: an index beyond the end of a
# container ends the process, as under `make sanitize`, and is not left to what happens to lie there.
for source; do :; done
case $(head -n 1 -- "$source" 2>/dev/null) in
    *tools/mutants/selected.h*) set -- "$@" -UNDEBUG -D_GLIBCXX_ASSERTIONS ;;
esac
# The first attempt has the flags of the project, so that the compiler cache knows all that is not changed.
"$@" || exec "$@" -Wno-error
