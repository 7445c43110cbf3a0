#!/bin/sh
# What test_deb.py does in a clean root: the packages lie in /packages, the output of each step goes to /steps.
set -u
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 PYTHONDONTWRITEBYTECODE=1
cd /tmp

# step NAME COMMAND...: runs the command, and keeps what it says and its exit code.
step() {
    name=$1
    shift
    "$@" >"/steps/$name" 2>&1 </dev/null
    echo $? >"/steps/$name.code"
}
apt() {
    apt-get -q -y --no-install-recommends -o Dpkg::Use-Pty=0 "$@"
}
files() {
    find / -xdev -path '*zelmor*' -not -path '/tmp/environment*' -not -path '/packages*' -not -path '/steps*' -not -path '/proc*' | sort
}

mkdir -p /steps
: >/steps/started

# The wheel where there is Python and nothing else: it is installed, and says what it lacks.
step venv apt install python3-venv
step before dpkg-query -W -f '${Package}\n'
step create python3 -m venv /tmp/environment
step pip /tmp/environment/bin/pip install --no-index --disable-pip-version-check /packages/*.whl
step wheel-alone /tmp/environment/bin/python -P /packages/smoke.py

# The Debian packages, as a user has them: apt brings their dependencies.
step install apt install /packages/python3-zelmor-imaging_*.deb /packages/python3-zelmor-imaging-doc_*.deb
step smoke python3 -P /packages/smoke.py
step user runuser -u nobody -- python3 -P /packages/smoke.py
step verify dpkg --verify python3-zelmor-imaging python3-zelmor-imaging-doc
step command runuser -u nobody -- sh -c 'cd "$(mktemp -d)" && sh /packages/commands.sh'
step documents sh -c 'ls /usr/share/doc/python3-zelmor-imaging /usr/share/doc/python3-zelmor-imaging/docs'
step purge apt purge python3-zelmor-imaging python3-zelmor-imaging-doc
step left files
step autoremove apt autoremove --purge
step after dpkg-query -W -f '${Package}\n'

# The wheel again, with the packages that it has asked for.
step advice sh -c "apt-get -q -y --no-install-recommends $(sed -n 's/.*installed by: apt-get \(install [^)]*\)).*/\1/p' /steps/wheel-alone | head -1)"
step wheel-complete /tmp/environment/bin/python -P /packages/smoke.py
step uninstall /tmp/environment/bin/pip uninstall -y --disable-pip-version-check zelmor-imaging

# The Debian package with the one that it only recommends. It is the last step: apt keeps packages that came with that.
step recommended apt install /packages/python3-zelmor-imaging_*.deb libgs10
step command-draws runuser -u nobody -- sh -c 'cd "$(mktemp -d)" && sh /packages/commands.sh draws'
:
