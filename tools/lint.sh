#!/bin/sh
# All static checks over the files that git tracks: spelling, include guards, the layout of the C++ sources, flake8 and
# mypy over the Python files, clang-tidy with the compile commands of a build tree. Runs all of them, then fails if any
# of them found something.
#
# clang-tidy skips the sources that it has passed before (tidy.py); the first run of a build tree takes long. --quick
# leaves it out; the build tree then needs to be configured only, since configuring writes the stubs that mypy reads.
#
# Usage: tools/lint.sh [--quick] [build tree]
set -u
quick=
if [ "${1:-}" = --quick ]; then
    quick=1
    shift
fi
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

spelling() {
    # The catalogues hold the names of the managed API, with its spelling; source_rules.py lists what it refuses.
    git ls-files -z -- ':!api/catalogue' ':!siblings/catalogue' ':!tools/source_rules.py' | xargs -0 -r codespell
}

rules() {
    /usr/bin/python3 -B tools/source_rules.py
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
    # Each directory is checked from within, since its modules import one another. The stubs of the package come from
    # the build tree; without them mypy would take everything imported from it for Any.
    if [ ! -d "$build/python/zelmor-stubs" ]; then
        echo "no stubs in $build: run make configure"
        return 1
    fi
    result=0
    for directory in tools python examples bench packaging; do
        (cd "$directory" && PYTHONPATH="$build/python" /usr/bin/python3 -m mypy --no-error-summary \
            --config-file "$top/setup.cfg" --exclude zelmor-stubs --cache-dir "$build/mypy" .) || result=1
    done
    return $result
}

check spelling spelling
check source-rules rules
check clang-format format
check flake8 style
check mypy types
[ -n "$quick" ] || check clang-tidy tidy

if [ -n "$failed" ]; then
    echo "lint: failed:$failed"
    exit 1
fi
echo "lint: clean"
