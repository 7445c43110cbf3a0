#!/bin/sh
# All static checks over the files that git knows: layout of the C++ sources, clang-tidy with the compile commands of a
# build tree, flake8 and mypy over the Python files. Reports everything it finds, then fails if it found anything.
# clang-tidy skips what it has passed before (tidy.py); the first run of a build tree is long.
#
# Usage: tools/lint.sh [build tree]
set -u
cd "$(dirname -- "$0")/.."
top=$PWD
build=$(realpath -- "${1:-build}")
failed=

check() {
    name=$1
    shift
    echo "== $name"
    "$@" || failed="$failed $name"
}

format() {
    git ls-files -z -- '*.cpp' '*.h' '*.c' | xargs -0 -r clang-format-16 --dry-run --Werror
}

tidy() {
    /usr/bin/python3 -B tools/tidy.py --build "$build" --jobs "$(nproc)"
}

style() {
    git ls-files -z -- '*.py' ':!tests/data' | xargs -0 -r /usr/bin/python3 -m flake8
}

types() {
    # Each directory is checked from within, as its modules import one another; the stubs of the package are those that
    # the build has written.
    result=0
    for directory in tools python examples bench; do
        (cd "$directory" && PYTHONPATH="$build/python" /usr/bin/python3 -m mypy --no-error-summary \
            --config-file "$top/setup.cfg" --exclude zelmor-stubs --cache-dir "$build/mypy" .) || result=1
    done
    return $result
}

check clang-format format
check clang-tidy tidy
check flake8 style
check mypy types

if [ -n "$failed" ]; then
    echo "lint: failed:$failed"
    exit 1
fi
echo "lint: clean"
