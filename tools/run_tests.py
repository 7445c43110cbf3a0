"""Runs every test of the project; its last line counts them.

The programs of the C++ unit tests that ctest lists run as wholes, the tests in Python under pytest. For both there is a
JUnit report in the build tree, from which the tests are counted. The exit code is 0 only if both succeed, both ran at
least one test, and no test failed. This program contains no knowledge of single tests.

Where a .NET SDK is found, the tests in Python of the bridge itself run a second time, on .NET. The last line counts
them apart, or says that there is no SDK.
"""

import argparse
import os
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from tools.build_dotnet import find_sdk  # noqa: E402
from tools.preload import SANITIZERS, preloaded  # noqa: E402
from tools.unit_programs import programs_of, run_programs, write_report  # noqa: E402

PYTHON = "/usr/bin/python3"
#: Races that are none of this project's, for the thread sanitizer; each line has its reason.
SUPPRESSIONS = Path(__file__).resolve().parents[1] / "tests" / "native" / "foreign_races.supp"
TESTS = ["tests/generator", "tests/harvest", "tests/mutants", "tests/tools", "tests/packages", "tests/python"]
#: The folders whose tests run on .NET, too: those of the bridge between Python and any runtime, and of drawing.
FOLDERS_ON_DOTNET = ("collections", "convert", "drawing", "runtime", "shell", "siblings", "startup", "streams", "wire")
#: Files of other folders that do. The code of the classes is the same on both runtimes: these look at what crosses to
#: it, and files that only go through more of it would cost time.
FILES_ON_DOTNET = {
    "batch": ("batch_jobs", "batch_runs", "batch_settings", "batch_steps"),
    "catalogue": ("member_types", "pinned_names", "refusals", "sweep", "use"),
    "command": ("command_ends",),
    "formats": ("cdr_and_cmx", "constants", "dicom_images", "djvu", "eps", "gdi_objects", "gif_blocks", "jpeg2000",
                "known_formats", "objects", "opendocument", "paths", "psd_images", "psd_options", "records"),
    "images": ("blurs", "bmp_forms", "bmp_header", "cmyk", "color", "constructors", "errors", "extensions", "filters",
               "fixed_settings", "forms", "frames", "frames_on_demand", "geometry", "gif_forms", "ico_images",
               "interruption", "jpeg_forms", "jpeg_ls", "kept_files", "kernels", "large_pictures", "lazy_threads",
               "limits", "load", "median", "option_sweep", "options", "packed_pixels", "pixels", "png_forms",
               "probing", "python_files", "raw_data", "recovery", "registries", "save", "streamed_saves",
               "tga_and_ico_rooms", "tga_images", "transparency_given", "untouched_saves", "webp_pictures"),
    "masking": ("masking", "masking_arguments", "masking_sessions", "masking_tasks"),
    "metadata": ("carried", "exif", "image_files", "jpeg_headers", "long_data", "orientation", "pages", "tiff", "xmp"),
    "package": ("arrays", "cookbook", "examples", "from_pillow", "open", "readme"),
    "vector": ("dxf_export", "emf_plus", "emf_records", "metafile_images", "svg_export", "svg_graphics",
               "vector_images", "wmf_records"),
}
ON_DOTNET = [f"tests/python/{folder}" for folder in FOLDERS_ON_DOTNET] + [
    f"tests/python/{folder}/test_{name}.py" for folder, names in FILES_ON_DOTNET.items() for name in names]


@dataclass
class Count:
    """The outcomes of one runner, or of both."""

    passed: int = 0
    failed: int = 0
    skipped: int = 0

    def __add__(self, other: "Count") -> "Count":
        return Count(self.passed + other.passed, self.failed + other.failed, self.skipped + other.skipped)

    def __str__(self) -> str:
        return f"{self.passed} passed, {self.failed} failed" + (f", {self.skipped} skipped" if self.skipped else "")


def read_report(path: Path) -> Count:
    """The outcomes in a JUnit report, which has one element for each test."""
    count = Count()
    for case in ElementTree.parse(path).iter("testcase"):
        outcomes = {child.tag for child in case}
        if outcomes & {"failure", "error"}:
            count.failed += 1
        elif "skipped" in outcomes:
            count.skipped += 1
        else:
            count.passed += 1
    return count


def run_unit_tests(build: Path, jobs: int, environment: dict[str, str]) -> tuple[Count, bool]:
    """Runs the programs of unit tests, and prints what those say that fail; the flag is false if any did."""
    print("== unit tests", flush=True)
    report = build / "ctest.xml"
    results = []
    for result in run_programs(programs_of(build), build / "unit-reports", jobs, environment):
        results.append(result)
        if result.trouble or any(case.find("failure") is not None for case in result.cases):
            print(f"{result.output}\n{result.program.name}: {result.trouble or 'tests failed'}", flush=True)
    write_report(results, report)
    count = read_report(report)
    print(f"{count} by {len(results)} programs", flush=True)
    if count.passed == 0:
        print("unit tests: no test passed")
    return count, count.failed == 0 and count.passed > 0


def run(name: str, command: list[str], report: Path, environment: dict[str, str]) -> tuple[Count, bool]:
    """Runs one test runner; the flag is false if anything went wrong."""
    report.unlink(missing_ok=True)
    print(f"== {name}", flush=True)
    with subprocess.Popen(command, env=environment, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT) as runner:
        assert runner.stdout is not None
        for line in runner.stdout:
            print(line, end="", flush=True)
    code = runner.returncode
    if not report.exists():
        print(f"{name}: no report (exit code {code})")
        return Count(), False
    count = read_report(report)
    if code != 0 and count.failed == 0:
        print(f"{name}: exit code {code}, though no test failed")
    if count.passed == 0:
        print(f"{name}: no test passed")
    return count, code == 0 and count.failed == 0 and count.passed > 0


def lies_in(test: str, folders: list[str]) -> bool:
    """Whether a test, named as for pytest, lies in one of the folders."""
    parts = Path(test.split("::")[0]).parts
    return any(parts[:len(Path(folder).parts)] == Path(folder).parts for folder in folders)


def bridge_tests(asked: list[str]) -> list[str]:
    """Those of the asked tests that run on .NET, too; all of these where none were asked for."""
    if not asked:
        return ON_DOTNET
    return [folder for folder in ON_DOTNET if any(lies_in(folder, [test]) for test in asked)] + [
        test for test in asked if lies_in(test, ON_DOTNET) and test.rstrip("/") not in ON_DOTNET]


class DotnetBuild:
    """The build of the .NET half, which goes on beside the first tests."""

    def __init__(self, build: Path) -> None:
        self._process = None if find_sdk() is None else subprocess.Popen(
            [PYTHON, "-B", "-m", "tools.build_dotnet", "--build", str(build)], text=True, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT)

    def trouble(self) -> str:
        """Waits for its end, and prints what it said; why it was not possible, empty if the half is there."""
        if self._process is None:
            return "no SDK was found, so that no test ran on it"
        print(self._process.communicate()[0], end="", flush=True)
        return "" if self._process.returncode == 0 else "its half could not be built"


def watched(under: str | None, environment: dict[str, str]) -> list[str]:
    """The interpreter that runs pytest, under a tool if one is given, with the settings that the tool needs."""
    if under == "debug":
        return ["/usr/bin/python3-dbg", "-X", "dev"]
    if under == "sanitizers":
        environment["LD_PRELOAD"] = preloaded(*SANITIZERS)
    if under == "threads":
        # The sanitizer knows the addresses that programs have where they are not drawn by lot.
        ordered = Path(environment["ZELMOR_BUILD_DIR"]) / "test-native" / "libzelmor_ordered_glib.so"
        environment["LD_PRELOAD"] = f"{preloaded('libtsan.so')} {ordered}"
        return ["setarch", "-R", PYTHON]
    if under == "valgrind":
        environment["PYTHONMALLOC"] = "malloc"
        valgrind = shutil.which("valgrind") or "valgrind"
        return [valgrind, "-q", "--error-exitcode=99", "--exit-on-first-error=no", "--trace-children=no",
                "--suppressions=/usr/lib/valgrind/python3.supp", PYTHON]
    return [PYTHON]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=Path("build"), help="build tree")
    parser.add_argument("--fuzz", action="store_true", help="only the tests in Python, with many more examples each")
    parser.add_argument("--under", choices=("debug", "sanitizers", "threads", "valgrind"),
                        help="under the debug interpreter or a checker of memory or threads; those but the sanitizers "
                             "run only the tests in Python, and the sanitizers and threads need a build tree that was "
                             "made for them")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, help="tests at a time")
    parser.add_argument("tests", nargs="*", help="only these tests in Python, named as for pytest")
    arguments = parser.parse_args()
    build = arguments.build.resolve()

    environment = dict(os.environ, PYTHONPATH=str(build / "python"), PYTHONDONTWRITEBYTECODE="1")
    environment["ZELMOR_BUILD_DIR"] = str(build)
    if arguments.fuzz:
        environment["HYPOTHESIS_PROFILE"] = "fuzz"
    if arguments.under == "sanitizers":
        # The interpreter keeps memory until its end by design; the tests themselves detect leaked handles.
        environment["ASAN_OPTIONS"] = "detect_leaks=0:abort_on_error=1"
        environment["UBSAN_OPTIONS"] = "halt_on_error=1:print_stacktrace=1"
        environment["ZELMOR_SANITIZED"] = "1"  # a failed allocation is fatal there: some tests cannot run
    reports = build / "races"
    if arguments.under == "threads":
        shutil.rmtree(reports, ignore_errors=True)
        reports.mkdir()
        environment["TSAN_OPTIONS"] = f"suppressions={SUPPRESSIONS}:log_path={reports}/report:exitcode=0"
        environment["ZELMOR_SANITIZED"] = "1"
    total, content = Count(), True

    # The tools that watch a process do not know .NET.
    on_dotnet = bridge_tests(arguments.tests) if not arguments.fuzz and arguments.under is None else []
    # The random calls of --fuzz start .NET in a process of their own.
    dotnet = DotnetBuild(build) if on_dotnet or arguments.fuzz else None

    if not (arguments.fuzz or arguments.under in ("debug", "threads", "valgrind") or arguments.tests):
        count, well = run_unit_tests(build, arguments.jobs, environment)
        total, content = total + count, content and well

    trouble = dotnet.trouble() if dotnet is not None else ""

    def run_pytest(name: str, tests: list[str], **more: str) -> tuple[Count, bool]:
        report = build / f"{name}.xml"
        variables = environment | more
        command = watched(arguments.under, variables)
        command += ["-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "tools.pytest_byte_code",
                    f"--junitxml={report}"]
        # The workers are started as the plain interpreter, so a tool that watches the interpreter allows no workers.
        if arguments.under in (None, "sanitizers", "threads") and arguments.jobs > 1:
            # By files, so that what a file sets up once is set up once.
            command += ["-p", "tools.pytest_files", "-n", str(arguments.jobs), "--dist", "loadfile"]
        return run(name, command + tests, report, variables)

    count, well = run_pytest("pytest", arguments.tests or TESTS)
    total, content = total + count, content and well
    said = ""
    if on_dotnet and not trouble:
        count, well = run_pytest("pytest-dotnet", on_dotnet, ZELMOR_RUNTIME="dotnet")
        content = content and well
        said = f"; on .NET: {count}"
    elif on_dotnet:
        content = content and find_sdk() is None
        said = f"; .NET: {trouble}"

    for race in sorted(reports.glob("report.*")):
        print(race.read_text(errors="replace"))
        content = False
    print(f"tests: {total}{said}")
    return 0 if content else 1


if __name__ == "__main__":
    sys.exit(main())
