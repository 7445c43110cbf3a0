"""Programs that use the installed package, each in a fresh interpreter with a chosen environment."""

import json
import os
import subprocess
import sys
from pathlib import Path

import zelmor

PACKAGE = Path(zelmor.__file__).parent
NETCORE = "NETCORE_WRAPPER_NETCORE_DIR_zelmor"
ASSEMBLY = "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor"

REPORT = "\nimport json, sys\nsys.stdout.write(json.dumps(result))"


def child(code, package=PACKAGE, **variables):
    """The value that `code` assigns to `result`. The two variables that select a runtime are unset unless given."""
    environment = {name: value for name, value in os.environ.items() if name not in (NETCORE, ASSEMBLY)}
    environment.update({name: value for name, value in variables.items() if value is not None})
    environment["PYTHONPATH"] = str(package.parent)
    command = [sys.executable, "-P", "-c", code + REPORT]  # -P: no import from the working directory
    done = subprocess.run(command, env=environment, capture_output=True, text=True, timeout=300, check=False)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)
