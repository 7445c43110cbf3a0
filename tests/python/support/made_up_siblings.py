"""Imports of the module in child processes in which sibling modules are replaced by fakes, in whole or in part.

A fake sibling has a version, a threshold and capsules with null entries: enough for an import, so that a test can break
one thing at a time.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from copy import deepcopy
from typing import Any

from .places import BUILD_DIR
from .startup_process import REPORTING_IMPORT, TEST_NATIVE

#: The siblings whose versions are checked, with their capsules, in the order of import.
CAPSULES = {
    "zelmor.pydrawing": [
        "zelmor.pydrawing._C_APIT_Image",
        "zelmor.pydrawing.drawing2d._C_APIT_Matrix",
        "zelmor.pydrawing._C_APIT_Pen",
        "zelmor.pydrawing._C_APITV1_PointF",
        "zelmor.pydrawing._C_APITV1_Rectangle",
        "zelmor.pydrawing._C_APITV1_RectangleF",
        "zelmor.pydrawing._C_APIT_Region",
        "zelmor.pydrawing._C_APIT_RotateFlipType",
        "zelmor.pydrawing.imaging._C_APIT_ImageAttributes",
        "zelmor.pydrawing._C_APIT_StringFormat",
        "zelmor.pydrawing.drawing2d._C_APIT_GraphicsPath",
        "zelmor.pydrawing._C_APIT_Font",
        "zelmor.pydrawing._C_APIT_Brush",
        "zelmor.pydrawing.drawing2d._C_APIT_ColorBlend",
        "zelmor.pydrawing._C_APITV1_Color",
        "zelmor.pydrawing.imaging._C_APIT_ColorMap",
        "zelmor.pydrawing.imaging._C_APIT_ColorMatrix",
        "zelmor.pydrawing._C_APIT_Bitmap",
    ],
    "zelmor.pyreflection": [
        "zelmor.pyreflection._C_APIT_Object",
        "zelmor.pyreflection._C_APIT_Enum",
        "zelmor.pyreflection._C_APIT_Type",
    ],
    "zelmor.pyio": ["zelmor.pyio._C_APIT_FileMode"],
    "zelmor.pygc": ["zelmor.pygc._C_APIF"],
}
SIBLINGS = list(CAPSULES)

#: A program that reads from its first argument what to fake.
MAKE_UP = """
import json, sys, types
import zelmor
import zelmor_testkit

def module_at(dotted):
    module = sys.modules.get(dotted)
    if module is None:
        parent, _, name = dotted.rpartition(".")
        module = sys.modules[dotted] = types.ModuleType(dotted)
        setattr(module_at(parent), name, module)
    return module

for name, sibling in json.loads(sys.argv[1]).items():
    if sibling is None:
        sys.modules[name] = None
        continue
    module = module_at(name)
    for attribute in ("VERSION", "_BACKWARD_COMPATIBILITY_THRESHOLD"):
        if sibling[attribute] is not None:
            numbers, text = sibling[attribute]
            setattr(module, attribute, zelmor_testkit.make_version(*numbers, text))
    for capsule in sibling["capsules"]:
        holder, _, attribute = capsule.rpartition(".")
        setattr(module_at(holder), attribute, zelmor_testkit.make_capsule(capsule, [None] * 3))
"""


def made_up() -> dict[str, Any]:
    """All four siblings, with exactly the required version."""
    version = [[23, 5, 0, 0], "23.5.0.0"]
    return {
        name: {"VERSION": version, "_BACKWARD_COMPATIBILITY_THRESHOLD": version, "capsules": list(capsules)}
        for name, capsules in deepcopy(CAPSULES).items()
    }


def run_child(code: str, *arguments: str) -> Any:
    """Runs the code in a child that can import the module and the test kit, and parses the JSON that it prints."""
    paths = [str(BUILD_DIR / "python"), str(TEST_NATIVE)]
    environment = {name: value for name, value in os.environ.items() if not name.startswith("NETCORE_WRAPPER_")}
    environment |= {"PYTHONPATH": os.pathsep.join(paths), "PYTHONDONTWRITEBYTECODE": "1"}
    result = subprocess.run(
        [sys.executable, "-c", code, *arguments], env=environment, capture_output=True, text=True, timeout=120
    )
    assert result.returncode == 0, result.stderr
    return json.loads(result.stdout)


def import_over(siblings: dict[str, Any]) -> list[list[str]]:
    """The exceptions of an import over these siblings, from the outermost to its first cause."""
    return run_child(MAKE_UP + REPORTING_IMPORT + "print(json.dumps(attempt()))", json.dumps(siblings))
