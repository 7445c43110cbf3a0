"""The package around the extension modules: the runtime that it selects, and the ways of importing the module trees.

Effects of an import on the process are tested in child processes.
"""

import os
import shutil
import subprocess
import sys

import pytest

from support.package_process import ASSEMBLY, NETCORE, PACKAGE, child

EMBEDDED = str(PACKAGE / "_runtime")

#: A program that stores in `result` the variables as native code sees them when a bridge module is loaded. It starts
#: no runtime.
CHOSEN = f"""
import ctypes
import importlib.machinery
import json  # has an extension module of its own
getenv = ctypes.CDLL(None).getenv
getenv.restype = ctypes.c_char_p
def look(self, spec):
    global result
    result = [getenv(name) and getenv(name).decode() for name in ({NETCORE.encode()!r}, {ASSEMBLY.encode()!r})]
    raise ImportError("seen enough")
importlib.machinery.ExtensionFileLoader.create_module = look
try:
    import zelmor.pygc
except ImportError as error:
    assert str(error) == "seen enough"
"""

#: A program that reads the two variables as Python and as native code see them.
VARIABLES = f"""
import ctypes
import os
native = ctypes.CDLL(None).getenv
native.restype = ctypes.c_char_p
def variables():
    found = []
    for name in ({NETCORE!r}, {ASSEMBLY!r}):
        found.append(os.environ.get(name))
        assert (native(name.encode()) or b"").decode() == (found[-1] or "")
    return found
"""


def test_chooses_the_embedded_runtime():
    assert child(CHOSEN) == [EMBEDDED, EMBEDDED]


@pytest.mark.parametrize(
    ("netcore", "assembly"), [("/opt/netcore", None), (None, "/opt/assemblies"), ("/opt/netcore", "/opt/assemblies")]
)
def test_respects_what_the_user_has_set(netcore, assembly):
    assert child(CHOSEN, **{NETCORE: netcore, ASSEMBLY: assembly}) == [netcore or EMBEDDED, assembly or EMBEDDED]


def test_an_empty_variable_counts_as_unset():
    assert child(CHOSEN, **{NETCORE: "", ASSEMBLY: ""}) == [EMBEDDED, EMBEDDED]


def test_respects_what_the_program_has_set():
    code = f"import os, zelmor\nos.environ[{NETCORE!r}] = '/opt/netcore'\n" + CHOSEN
    assert child(code) == ["/opt/netcore", EMBEDDED]


@pytest.mark.parametrize(
    "imports",
    ["zelmor", "zelmor.imaging", "zelmor.pygc", "zelmor.pygc, zelmor.pydrawing.drawing2d, zelmor.imaging.imageoptions"],
)
@pytest.mark.parametrize(("netcore", "assembly"), [(None, None), ("", None), (EMBEDDED, None), (None, EMBEDDED)])
def test_the_variables_are_what_they_were_after_an_import(imports, netcore, assembly):
    code = f"{VARIABLES}import {imports}\nresult = variables()"
    assert child(code, **{NETCORE: netcore, ASSEMBLY: assembly}) == [netcore, assembly]


def test_a_child_process_inherits_no_choice():
    code = f"""
import subprocess, sys
import zelmor.imaging
program = "import os; print([name in os.environ for name in ({NETCORE!r}, {ASSEMBLY!r})])"
result = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True).stdout
"""
    assert child(code) == "[False, False]\n"


def test_the_variables_are_put_back_when_an_import_fails():
    code = VARIABLES + """
import sys
import zelmor.pygc
sys.modules["zelmor.pyreflection"] = sys
try:
    import zelmor.imaging
except ImportError as error:
    failure = str(error)
del sys.modules["zelmor.pyreflection"]
result = [failure[-7:], variables()]
import zelmor.imaging
result.append(variables())
"""
    assert child(code) == ["(-1009)", [None, None], [None, None]]


def test_a_choice_that_the_program_makes_during_a_load_stays():
    code = VARIABLES + f"""
import importlib.machinery
import json
def choose(self, spec):
    os.environ[{NETCORE!r}] = "/opt/netcore"
    raise ImportError
importlib.machinery.ExtensionFileLoader.create_module = choose
try:
    import zelmor.pygc
except ImportError:
    result = variables()
"""
    assert child(code) == ["/opt/netcore", None]


def test_a_finished_load_keeps_the_choice_for_a_parallel_one():
    code = VARIABLES + """
import importlib.machinery
import json
import threading
ended = threading.Event()
began = threading.Event()
def load(self, spec):
    if spec.name == "zelmor.pygc":
        began.set()
        assert ended.wait(20)
        seen.extend(variables())
    raise ImportError
importlib.machinery.ExtensionFileLoader.create_module = load
def attempt(name):
    try:
        __import__(name)
    except ImportError:
        pass
seen = []
other = threading.Thread(target=attempt, args=["zelmor.pygc"])
other.start()
assert began.wait(20)
attempt("zelmor.pycore")
ended.set()
other.join()
result = [seen, variables()]
"""
    assert child(code) == [[EMBEDDED, EMBEDDED], [None, None]]


def copied_package(directory, *names):
    """A copy of the package's Python files and of the named shared objects, without a runtime."""
    package = directory / "zelmor"
    package.mkdir()
    for source in PACKAGE.iterdir():
        if source.suffix == ".py" or source.name.split(".")[0] in names:
            shutil.copy(source, package)
    return package


def test_an_installation_without_the_embedded_runtime_leaves_the_choice_open(tmp_path):
    assert child(CHOSEN, copied_package(tmp_path, "pygc")) == [None, None]


def test_the_runtime_lies_beside_the_package_wherever_that_is(tmp_path):
    package = copied_package(tmp_path, "pygc")
    (package / "_runtime").mkdir()
    assert child(CHOSEN, package) == [str(package / "_runtime")] * 2


def test_the_package_imports_no_extension_module():
    code = "import sys, zelmor\nresult = [name for name in sys.modules if name.startswith('zelmor')]"
    assert sorted(child(code)) == ["zelmor", "zelmor._importer", "zelmor._runtime_choice"]


def test_the_version_is_that_of_the_modules():
    code = "import zelmor\nresult = [zelmor.__version__, zelmor.imaging.VERSION.view]"
    version, of_modules = child(code)
    assert version == of_modules


def test_names_of_the_package_are_imported_when_they_are_used():
    code = """
import sys, zelmor
names = ["zelmor.imaging", "zelmor._opening", "zelmor._errors", "zelmor._version"]
def there():
    return [name in sys.modules for name in names]
result = [there(), zelmor.__version__ != "", there(), zelmor.UnsupportedFormat.__name__, there(), callable(zelmor.open),
          there(), "open" in vars(zelmor), zelmor.imaging.Image.__name__]
"""
    assert child(code) == [[False] * 4, True, [False, False, False, True], "UnsupportedFormat",
                           [False, False, True, True], True, [True] * 4, True, "Image"]


def test_a_completion_offers_all_names_and_each_is_there():
    code = """
import zelmor
names = [name for name in dir(zelmor) if not name.startswith("_")]
result = [names, [getattr(zelmor, name) is not None for name in names], sorted(zelmor._MODULES | set(zelmor._NAMES))]
"""
    names, found, listed = child(code)
    assert {"open", "imaging", "arrays", "notebook", "documentation", "UnsupportedFormat"} <= set(names) and all(found)
    assert set(listed) - {"__version__"} <= set(names)


def test_a_name_that_the_package_does_not_have():
    code = """
import zelmor
result = [hasattr(zelmor, "__path__"), hasattr(zelmor, "__wrapped__")]
try:
    zelmor.nothing
except AttributeError as error:
    result.append(str(error))
try:
    from zelmor import nothing
except ImportError as error:
    result.append(str(error).partition(" (")[0])
"""
    assert child(code) == [True, False, "module 'zelmor' has no attribute 'nothing'",
                           "cannot import name 'nothing' from 'zelmor'"]


IMPORTS = {
    "module": "import zelmor.imaging\nresult = zelmor.imaging.imageoptions.PngOptions.__name__",
    "child": "import zelmor.imaging.imageoptions\nresult = zelmor.imaging.imageoptions.PngOptions.__name__",
    "from child": "from zelmor.imaging.imageoptions import PngOptions\nresult = PngOptions.__name__",
    "from module": "from zelmor.imaging import imageoptions\nresult = imageoptions.PngOptions.__name__",
    "from package": "from zelmor import imaging\nresult = imaging.imageoptions.PngOptions.__name__",
    "deep": "import zelmor.imaging.fileformats.tiff.enums as enums\nresult = enums.__name__[-5:] and 'PngOptions'",
    "by name": "import importlib\n"
    "result = importlib.import_module('zelmor.imaging.imageoptions').PngOptions.__name__",
    "relative": "import importlib\n"
    "result = importlib.import_module('.imageoptions', 'zelmor.imaging').PngOptions.__name__",
    "star": "from zelmor.imaging.imageoptions import *\nresult = PngOptions.__name__",
    "drawing first": "import zelmor.pydrawing.drawing2d\nimport zelmor.imaging.imageoptions as o\n"
    "result = o.PngOptions.__name__",
}


@pytest.mark.parametrize("form", IMPORTS)
def test_forms_of_import(form):
    assert child(IMPORTS[form]) == "PngOptions"


def test_children_are_the_attribute_objects():
    code = """
import sys
import zelmor.imaging
before = zelmor.imaging.fileformats.tiff.enums
early = sorted(name for name in sys.modules if name.startswith("zelmor.imaging."))
import zelmor.imaging.fileformats.tiff.enums as enums
result = [
    early,
    enums is before,
    sys.modules["zelmor.imaging.fileformats.tiff.enums"] is before,
    zelmor.imaging.fileformats.tiff is sys.modules["zelmor.imaging.fileformats.tiff"],
    enums.__name__, enums.__package__, enums.__path__, enums.__spec__.name,
]
"""
    name = "zelmor.imaging.fileformats.tiff.enums"
    assert child(code) == [[], True, True, True, name, name, [], name]


def test_a_missing_child_is_an_ordinary_error():
    code = """
result = []
for name in ("zelmor.imaging.nothing", "zelmor.imaging.Image", "zelmor.imaging.imageoptions.png", "zelmor.pyio.nothing",
             "zelmor.nothing", "zelmor.nothing.more"):
    try:
        __import__(name)
    except ModuleNotFoundError as error:
        result.append([str(error), error.name, error.__cause__ is None])
"""
    assert child(code) == [
        ["No module named 'zelmor.imaging.nothing'", "zelmor.imaging.nothing", True],
        ["No module named 'zelmor.imaging.Image'", "zelmor.imaging.Image", True],
        ["No module named 'zelmor.imaging.imageoptions.png'", "zelmor.imaging.imageoptions.png", True],
        ["No module named 'zelmor.pyio.nothing'; 'zelmor.pyio' is not a package", "zelmor.pyio.nothing", True],
        ["No module named 'zelmor.nothing'", "zelmor.nothing", True],
        ["No module named 'zelmor.nothing'", "zelmor.nothing", True],
    ]


def test_a_missing_name_is_an_ordinary_error():
    code = """
try:
    from zelmor.imaging.imageoptions import NoOptions
except ImportError as error:
    result = [type(error).__name__, str(error).split(" (")[0]]
"""
    assert child(code) == ["ImportError", "cannot import name 'NoOptions' from 'zelmor.imaging.imageoptions'"]


def test_a_foreign_module_on_the_tree_is_no_child():
    code = """
import json
import zelmor.imaging
zelmor.imaging.json = json
try:
    import zelmor.imaging.json
except ModuleNotFoundError as error:
    result = str(error)
"""
    assert child(code) == "No module named 'zelmor.imaging.json'"


def test_find_spec():
    code = """
import importlib.util
import sys
spec = importlib.util.find_spec("zelmor.imaging.imageoptions")
result = [spec.name, spec.parent, spec.submodule_search_locations, spec.loader.is_package(spec.name),
          spec.loader.get_source(spec.name), "zelmor.imaging.imageoptions" in sys.modules,
          importlib.util.find_spec("zelmor.imaging.nothing")]
import zelmor.imaging.imageoptions
result.append(importlib.util.find_spec("zelmor.imaging.imageoptions") is zelmor.imaging.imageoptions.__spec__)
root = importlib.util.find_spec("zelmor.imaging")
result += [root.submodule_search_locations, root.loader.is_package("zelmor.imaging"), root.has_location]
"""
    name = "zelmor.imaging.imageoptions"
    assert child(code) == [name, name, [], True, None, False, None, True, [], True, True]


def test_reload():
    code = """
import importlib
import sys
import zelmor
import zelmor.imaging.imageoptions as options
finders = list(sys.meta_path)
kept = options.PngOptions
result = [importlib.reload(options) is options, importlib.reload(zelmor.imaging) is zelmor.imaging,
          importlib.reload(zelmor) is zelmor, options.PngOptions is kept, zelmor.imaging.imageoptions is options,
          options.__path__, sys.meta_path == finders]
"""
    assert child(code) == [True, True, True, True, True, [], True]


def test_importing_again_after_the_entries_are_gone():
    code = """
import sys
import zelmor.imaging.imageoptions as options
del sys.modules["zelmor.imaging.imageoptions"]
import zelmor.imaging.imageoptions as again
result = again is options
"""
    assert child(code) is True


SECOND_IMPORT = """
import sys
import zelmor.imaging
import zelmor.pydrawing
names = ["zelmor.imaging", "zelmor.pydrawing", "zelmor.pyio", "zelmor.pyreflection", "zelmor.pygc", "zelmor.pycore"]
first = {name: __import__(name, fromlist=["*"]) for name in names}
children = {name: getattr(first["zelmor.imaging"], name) for name in ("imageoptions", "_wrpgen")}
size = first["zelmor.imaging"].Size(3, 4)
for name in [name for name in sys.modules if name.partition(".")[0] == "zelmor"]:
    del sys.modules[name]
del zelmor
second = {name: __import__(name, fromlist=["*"]) for name in names}
"""


def test_a_second_import_of_the_package_gives_new_modules_with_the_same_contents():
    code = SECOND_IMPORT + """
def same(old, new):
    return {name for name in vars(old) if vars(new).get(name) is not vars(old)[name]}
own = {"__name__", "__doc__", "__package__", "__loader__", "__spec__", "__file__", "__path__"}
imaging = second["zelmor.imaging"]
result = [
    [second[name] is first[name] for name in names],
    [sorted(same(first[name], second[name]) - own) for name in names],
    [name for name in vars(imaging) if name not in vars(first["zelmor.imaging"])],
    [getattr(imaging, name) is child for name, child in children.items()],
    imaging.Size(3, 4) == size, imaging.Size.add(size, imaging.Size(1, 1)) == imaging.Size(4, 5),
    imaging.RotateFlipType.ROTATE_90_FLIP_NONE.__module__,
]
"""
    assert child(code) == [[False] * 6, [[]] * 6, [], [True, True], True, True, "zelmor.imaging"]


def test_the_children_of_a_second_import_are_found():
    code = SECOND_IMPORT + """
import pickle
import zelmor.imaging.imageoptions as options
from zelmor.pydrawing.drawing2d import Matrix
result = [options is children["imageoptions"], pickle.loads(pickle.dumps(options.PngOptions)) is options.PngOptions,
          sys.modules["zelmor.imaging.imageoptions"] is options,
          [finder.__module__ for finder in sys.meta_path if getattr(finder, "__name__", "") == "TreeFinder"]]
"""
    assert child(code) == [True, True, True, ["zelmor._importer"]]


@pytest.mark.parametrize("place", ["0", "len(sys.meta_path)"])
def test_a_finder_that_asks_all_others_ends(place):
    code = f"""
import sys
import zelmor
class Asking:
    def find_spec(self, name, path=None, target=None):
        others = (finder.find_spec(name, path, target) for finder in sys.meta_path if finder is not self)
        return next((spec for spec in others if spec is not None), None)
sys.meta_path.insert({place}, Asking())
import zelmor.imaging.imageoptions
import zelmor.pydrawing
try:
    import zelmor.nothing
except ModuleNotFoundError as error:
    result = str(error)
"""
    assert child(code) == "No module named 'zelmor.nothing'"


def test_running_a_child_as_a_program_says_what_is_wrong():
    environment = dict(os.environ, PYTHONPATH=str(PACKAGE.parent))
    for name in ("zelmor.imaging.imageoptions", "zelmor.imaging"):
        command = [sys.executable, "-P", "-m", name]
        done = subprocess.run(command, env=environment, capture_output=True, text=True, check=False)
        assert done.returncode == 1
        assert done.stderr.endswith(f"{name!r} is a package and cannot be directly executed\n"), done.stderr


def test_two_threads_import_one_tree():
    code = """
import importlib
import threading
import zelmor
names = ["zelmor.imaging.imageoptions", "zelmor.imaging.fileformats.tiff.enums", "zelmor.pydrawing.drawing2d"] * 3
found = []
threads = [threading.Thread(target=lambda name=name: found.append(importlib.import_module(name))) for name in names]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
result = sorted({module.__name__ for module in found}) == sorted(set(names)) and len({id(m) for m in found}) == 3
"""
    assert child(code) is True


def test_enumerations_know_their_module_and_pickle():
    code = """
import pickle
import zelmor.imaging
import zelmor.pydrawing
import zelmor.pyio
members = [zelmor.imaging.RotateFlipType.ROTATE_90_FLIP_NONE, zelmor.pydrawing.RotateFlipType.ROTATE_NONE_FLIP_X,
           zelmor.pyio.FileMode.OPEN, zelmor.imaging.fileformats.tiff.enums.TiffPhotometrics.RGB]
result = [[type(member).__module__, pickle.loads(pickle.dumps(member)) is member] for member in members]
"""
    assert child(code) == [
        ["zelmor.imaging", True], ["zelmor.pydrawing", True], ["zelmor.pyio", True],
        ["zelmor.imaging.fileformats.tiff.enums", True],
    ]


def test_classes_pickle_by_name():
    code = """
import pickle
import zelmor.imaging
kind = zelmor.imaging.imageoptions.PngOptions
result = pickle.loads(pickle.dumps(kind)) is kind
"""
    assert child(code) is True


def test_standard_tools_cope_with_the_tree():
    code = """
import inspect
import pkgutil
import pydoc
import zelmor.imaging.imageoptions as options
result = [inspect.ismodule(options), inspect.getmodule(options.PngOptions) is options,
          list(pkgutil.iter_modules(options.__path__)), "class PngOptions" in pydoc.plain(pydoc.render_doc(options))]
"""
    assert child(code) == [True, True, [], True]
