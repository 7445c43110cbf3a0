#!/bin/sh
# Compiles one source of a changed tree: a change that only earns a warning is no reason to refuse it.
# The first attempt has the flags of the project, so that the compiler cache knows all that is not changed.
"$@" || exec "$@" -Wno-error
