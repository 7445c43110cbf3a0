#!/bin/sh
# Installs the Debian packages of packages.txt that are missing.
#
# Usage: tools/setup.sh [-q | -c] [purpose...]
# Installs the packages of the named purposes, or all packages if none is named. -q prints nothing if no package is
# missing. -c installs nothing, and exits with 1 if a package is missing. Needs root or sudo only to install.
set -eu

top=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
list=$top/packages.txt

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "setup: this is not a Debian system; the packages to provide are in packages.txt" >&2
    exit 1
fi

quiet=
check=
case ${1:-} in
    -q) quiet=1; shift ;;
    -c) quiet=1; check=1; shift ;;
esac

for purpose in "$@"; do
    if ! grep -qx "# purpose: $purpose" "$list"; then
        echo "setup: packages.txt has no purpose \"$purpose\"" >&2
        exit 2
    fi
done

wanted=$(awk -v purposes="$*" '
    BEGIN { count = split(purposes, names, " "); for (i = 1; i <= count; i++) asked[names[i]] = 1 }
    /^# purpose: / { current = $3; next }
    /^#/ || NF == 0 { next }
    (count == 0 || current in asked) && !seen[$1]++ { print $1 }
' "$list")

missing=
for package in $wanted; do
    state=$(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -x -m1 installed || true)
    [ -n "$state" ] || missing="$missing $package"
done

if [ -z "$missing" ]; then
    [ -n "$quiet" ] || echo "setup: all $(echo "$wanted" | wc -l) packages are installed (${*:-all purposes})"
    exit 0
fi
[ -z "$check" ] || exit 1

if [ "$(id -u)" -eq 0 ]; then
    as_root=
elif command -v sudo >/dev/null; then
    as_root=sudo
else
    echo "setup: neither root nor sudo; please have these packages installed:$missing" >&2
    exit 1
fi

echo "setup: installing$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
run_apt() {
    # The output of apt-get is shown only if it fails.
    if ! $as_root env DEBIAN_FRONTEND=noninteractive apt-get -q "$@" >"$log" 2>&1; then
        cat "$log" >&2
        echo "setup: apt-get $1 failed" >&2
        exit 1
    fi
}
# The lists of a few minutes ago, from the purpose before this one, are new enough.
lists=/var/lib/apt/lists
if [ -z "$(find "$lists" -maxdepth 0 -mmin -10)" ] || ! ls "$lists"/*_Packages* >/dev/null 2>&1; then
    run_apt update
fi
# shellcheck disable=SC2086  # a list of package names
run_apt install -y --no-install-recommends $missing
echo "setup: done"
