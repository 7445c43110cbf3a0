# The commands of the project. Each installs the packages that it needs; CMake and Ninja do the building.
#
#   make demo     convert photographs with zelmor.imaging and show them before and after (IN=picture or folder;
#                 RUNTIME=dotnet on .NET)
#   make test     run all tests; the last line counts them
#   make build    build an importable package in build/python
#   make dotnet   build the .NET half of the wire in build/dotnet, to run zelmor.imaging on .NET itself (needs an SDK)
#   make harvest  write what an interop assembly says otherwise into its catalogue, and list the differences
#                 (ASSEMBLY=path, with its class library beside it; CHECK=1 changes nothing)
#   make bench    measure speed beside hand-written C, Cython, pybind11 and PyQt5; streams; collections; operations
#                 on pictures beside Pillow; jobs on files beside Pillow and vips; conversions beside the programs of the
#                 formats; 500 photographs by one process and more; import; sizes; memory
#   make docs     write the site: front page, gallery, guides and API reference with a search, in build/docs/html
#   make packages make a wheel, a source distribution and Debian packages in build/packages (docs/packaging.md);
#                 make wheel, make sdist and make deb make one kind
#   make test-packages
#                 make them, and install, use and remove them in a clean Debian system (slow; needs the network;
#                 select tests with TESTS=tests/packages/test_deb.py)
#   make release  the same for a commit that has the tag of its version, with checksums
#   make fuzz     run the property tests with many more examples, then make fuzz-pictures
#   make fuzz-pictures, make fuzz-drawings
#                 try altered picture files, or files of drawings, under the sanitizers (COUNT=20000 SEED=1 MINUTES=60;
#                 the files with findings are in build/fuzz and build/fuzz-drawings)
#   make debug-test, make sanitize, make valgrind
#                 run the tests under the debug interpreter, the address and undefined-behavior sanitizers, or valgrind
#                 (slow: select tests with TESTS=tests/python/images/test_x.py)
#   make threads  run the tests that work in several threads under the thread sanitizer (or those of TESTS=)
#   make growth   use every member repeatedly and report where Python's memory grows (slow; select classes by parts of
#                 their names with CLASSES="Bmp Tiff")
#   make mutants  change the sources in one place at a time and list the changes that no test notices (slow;
#                 COUNT=20 SEED=1 MINUTES=60 PATHS="convert streams" LIST=1 THOROUGH=1; see
#                 build/mutants/survivors.txt)
#   make scale    measure generation, compilation and size for a synthetic catalogue of the size of the whole API
#   make identifiers
#                 complete the tables of type identifiers
#   make lint     run all static checks: codespell, include guards, clang-format, flake8, mypy, clang-tidy (the first
#                 run is slow)
#   make quick-lint
#                 the same without clang-tidy; needs no build
#   make lint-product
#                 clang-tidy over the sources of the product alone, some minutes
#   make format   format the C++ sources in place
#   make setup    install every Debian package of packages.txt
#   make clean    remove the build tree

BUILD ?= build
JOBS ?= $(shell nproc)
PYTHON := /usr/bin/python3
# Writes no byte code beside the sources, and uses the package that was just built and no other copy.
RUN := PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$(BUILD)/python $(PYTHON)
# The variables that select a runtime other than the package's own.
ON_RUNTIME = $(if $(filter dotnet,$(RUNTIME)),env $$($(PYTHON) -B tools/build_dotnet.py --build $(BUILD) --print))

# Expanded at each use, since the set-up may install ccache.
CACHE = $(CURDIR)/tools/compile_cached.sh
LAUNCHER = $(if $(wildcard /usr/bin/ccache),"-DCMAKE_C_COMPILER_LAUNCHER=$(CACHE)" "-DCMAKE_CXX_COMPILER_LAUNCHER=$(CACHE)")

# The lots that fuzz-pictures and mutants draw.
SEED ?= 1

.DEFAULT_GOAL := build
# Prerequisites run in the order in which they are listed: packages first, then the build.
.NOTPARALLEL:
.PHONY: setup build dotnet harvest demo test docs bench scale fuzz fuzz-pictures fuzz-drawings debug-test sanitize
.PHONY: valgrind threads growth mutants identifiers lint lint-product quick-lint format clean
.PHONY: wheel sdist deb packages test-packages release

setup:
	@tools/setup.sh

# Ninja runs CMake again when its files change; only the first run is started here.
# On a terminal Ninja shows its progress in one line; elsewhere it prints errors only.
COMPILE = [ -t 1 ] && quiet= || { quiet=--quiet; echo "building with $(JOBS) jobs in $(BUILD)"; }; build() { \
    cmake --build $(BUILD) -j $(JOBS) --target "$$@" -- $$quiet; }; build

build: configure
	@$(COMPILE) product test-runtime

.PHONY: configure product everything
CONFIGURE = cmake -S . -B $(BUILD) -G Ninja $(LAUNCHER) $(CMAKE_OPTIONS)
configure: setup-build
	@{ test -f $(BUILD)/build.ninja && ! grep -qs '^ZELMOR_LIBRARIES_LATER:BOOL=ON' $(BUILD)/CMakeCache.txt; } || \
	    $(CONFIGURE) -DZELMOR_LIBRARIES_LATER=OFF
product: configure
	@$(COMPILE) product
everything: configure
	@$(COMPILE) tests

# The wrapper library is that of the package. The picture library has the embedded runtime's objects for the .NET half.
dotnet: product
	@$(COMPILE) zelmor_pictures
	@$(PYTHON) -B tools/build_dotnet.py --build $(BUILD)

# Reads the file only; nothing has to be built.
harvest:
	@$(if $(ASSEMBLY),,echo "name an interop assembly: make harvest ASSEMBLY=path" >&2; exit 2)
	@$(PYTHON) -B -m tools.harvest $(if $(CHECK),--check) $(if $(CATALOGUE),--catalogue "$(CATALOGUE)") "$(ASSEMBLY)"

# The first build on a machine: what needs no picture library is compiled while these and photographs are being installed.
.PHONY: compile-meanwhile
demo: WITH_LIBRARIES := demo
compile-meanwhile: setup-compile
	@test -f $(BUILD)/build.ninja || tools/setup.sh -c build $(WITH_LIBRARIES) || { \
	    tools/setup.sh build $(WITH_LIBRARIES) & installing=$$!; \
	    $(CONFIGURE) -DZELMOR_LIBRARIES_LATER=ON >/dev/null && { $(COMPILE) without-libraries; }; built=$$?; \
	    wait $$installing && exit $$built; }

# RUNTIME=dotnet runs the same programs on .NET.
demo: compile-meanwhile setup-demo $(if $(filter dotnet,$(RUNTIME)),dotnet,product)
	@$(ON_RUNTIME) $(RUN) examples/photo_tour.py --out $(BUILD)/demo $(IN)
	@$(ON_RUNTIME) $(RUN) examples/contact_sheet.py $(BUILD)/demo
	@$(ON_RUNTIME) $(RUN) examples/next_steps.py $(BUILD) $(BUILD)/demo

# The programs that only tests use are installed while everything is compiled.
.PHONY: everything-meanwhile
everything-meanwhile: compile-meanwhile
	@tools/setup.sh -q $(PURPOSES_test) & installing=$$!; \
	$(MAKE) --no-print-directory everything; built=$$?; wait $$installing && exit $$built

test: everything-meanwhile
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --jobs $(JOBS) $(TESTS)

CATALOGUES := api/catalogue $(addprefix siblings/catalogue/,pyreflection pyio pydrawing)
# The programs of the gallery make its pictures.
docs: setup-docs product
	@$(RUN) -m tools.run_examples examples/gallery $(BUILD)/gallery >$(BUILD)/gallery.log
	@$(PYTHON) -B -m tools.generator reference $(BUILD)/docs docs examples $(BUILD)/gallery $(CATALOGUES)
	@mkdocs build --quiet --strict --clean -f $(BUILD)/docs/mkdocs.yml
	@echo "open it with: $(PYTHON) -m http.server -d $(BUILD)/docs/html"

PACK := $(PYTHON) -B -m tools.packages --build $(BUILD) --jobs $(JOBS)
wheel: product
	@$(PACK) wheel
sdist:
	@$(PACK) sdist
deb: setup-package product docs
	@$(PACK) deb
packages: wheel sdist deb

test-packages: setup-test packages
	@ZELMOR_BUILD_DIR=$(BUILD) ZELMOR_PACKAGES=$(abspath $(BUILD))/packages $(PYTHON) -B -m pytest -q -rs \
	    -p no:cacheprovider $(or $(TESTS),tests/packages)

release:
	@$(PACK) check-release
	@rm -rf $(BUILD)/packages
	@$(MAKE) --no-print-directory test-packages
	@$(PACK) check-release sums

bench: setup-bench product
	@cmake -S bench -B $(BUILD)/bench -G Ninja -DCMAKE_BUILD_TYPE=Release >$(BUILD)/bench-configure.log
	@cmake --build $(BUILD)/bench
	@$(RUN) bench/run.py --build $(BUILD)

scale: setup-build
	@tools/scale.sh $(BUILD)-scale $(JOBS)

fuzz: setup-test everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --fuzz $(TESTS)
	@$(if $(TESTS),,$(MAKE) --no-print-directory fuzz-pictures fuzz-drawings)

fuzz-pictures: COUNT ?= 20000
fuzz-pictures: setup-test
	@$(CONFIGURE_SANITIZED)
	@cmake --build $(BUILD)-sanitize -j $(JOBS) --target fuzz_pictures
	@$(PYTHON) -B tests/fuzz/run.py --build $(BUILD)-sanitize --work $(BUILD)/fuzz --jobs $(JOBS) --count $(COUNT) \
	    --seed $(SEED) $(if $(MINUTES),--minutes $(MINUTES))

fuzz-drawings: COUNT ?= 7000
fuzz-drawings: setup-test
	@$(CONFIGURE_SANITIZED)
	@ASAN_OPTIONS=detect_leaks=0 cmake --build $(BUILD)-sanitize -j $(JOBS) --target product
	@$(PYTHON) -B tests/fuzz/run.py --drawings --build $(BUILD)-sanitize --work $(BUILD)/fuzz-drawings --jobs $(JOBS) \
	    --count $(COUNT) --seed $(SEED) $(if $(MINUTES),--minutes $(MINUTES))

debug-test: setup-test setup-check everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --under debug $(TESTS)

# Builds under sanitizers know the lines of the code, for reports, and nothing else that a debugger needs.
LINES := -DCMAKE_CXX_FLAGS_DEBUG=-g1 -DCMAKE_C_FLAGS_DEBUG=-g1

# Uses a build tree of its own. The build itself runs the unit tests once, to list them.
# Warnings of the optimizer are about code that a sanitizer has put in.
SANITIZERS := -O1 -fno-omit-frame-pointer -fsanitize=address,undefined -Wno-stringop-overflow
CONFIGURE_SANITIZED = cmake -S . -B $(BUILD)-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug $(LAUNCHER) $(LINES) \
    -DCMAKE_CXX_FLAGS="$(SANITIZERS)" -DCMAKE_C_FLAGS="$(SANITIZERS)" >/dev/null
sanitize: setup-test
	@$(CONFIGURE_SANITIZED)
	@ASAN_OPTIONS=detect_leaks=0 cmake --build $(BUILD)-sanitize -j $(JOBS) --target tests
	@$(PYTHON) tools/run_tests.py --build $(BUILD)-sanitize --under sanitizers $(TESTS)

# The tests that work in several threads. Uses a build tree of its own, without unit tests.
WITH_THREADS := tests/python/runtime/test_race_reports.py tests/python/runtime/test_threads.py tests/python/runtime/test_reentry.py \
    tests/python/images/test_lazy_threads.py tests/python/images/test_interruption.py \
    tests/python/masking/test_masking_tasks.py tests/python/batch/test_batch_runs.py
THREAD_SANITIZER := -O1 -fno-omit-frame-pointer -fsanitize=thread -Wno-array-bounds -Wno-maybe-uninitialized
threads: setup-test
	@cmake -S . -B $(BUILD)-threads -G Ninja -DCMAKE_BUILD_TYPE=Debug $(LAUNCHER) $(LINES) \
	    -DCMAKE_CXX_FLAGS="$(THREAD_SANITIZER)" -DCMAKE_C_FLAGS="$(THREAD_SANITIZER)" >/dev/null
	@cmake --build $(BUILD)-threads -j $(JOBS) --target product test-runtime zelmor_ordered_glib \
	    zelmor_racing
	@$(PYTHON) tools/run_tests.py --build $(BUILD)-threads --under threads $(or $(TESTS),$(WITH_THREADS))

valgrind: setup-test setup-check everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --under valgrind $(TESTS)

growth: setup-test everything
	@ZELMOR_BUILD_DIR=$(BUILD) $(RUN) tests/python/support/programs/memory_growth.py $(CLASSES)

# Works in a copy of the tree, below the build tree.
mutants: COUNT ?= 20
mutants: setup-test
	@$(PYTHON) -B -m tools.mutants --build $(BUILD) --jobs $(JOBS) --count $(COUNT) --seed $(SEED) $(if $(LIST),--list) \
	    $(if $(THOROUGH),--thorough) \
	    $(if $(MINUTES),--minutes $(MINUTES)) \
	    --launcher "$(if $(wildcard /usr/bin/ccache),$(CACHE))" $(PATHS)

identifiers:
	@for catalogue in api/catalogue siblings/catalogue/*; do \
	    $(PYTHON) -B -m tools.generator identifiers $$catalogue || exit 1; done

lint: setup-lint setup-tidy everything
	@tools/lint.sh $(BUILD)

lint-product: setup-tidy product
	@$(PYTHON) -B tools/tidy.py --build $(BUILD) --jobs $(JOBS) --product

quick-lint: setup-lint configure
	@tools/lint.sh --quick $(BUILD)

format: setup-lint
	@git ls-files -z '*.cpp' '*.h' '*.c' | xargs -0 clang-format-16 -i

clean:
	rm -rf $(BUILD) $(BUILD)-sanitize $(BUILD)-threads $(BUILD)-scale

# Tests of the site, of clusters, of notebooks and beside an office suite are skipped where their programs are missing;
# nothing else is.
PURPOSES_test := test docs browser cluster notebook office
.PHONY: setup-compile setup-build setup-demo setup-test setup-bench setup-check setup-lint setup-tidy setup-docs setup-package
setup-compile:
	@tools/setup.sh -q compile
setup-build setup-demo setup-test setup-bench setup-check setup-lint setup-tidy setup-docs setup-package: setup-%:
	@tools/setup.sh -q compile build $(filter-out build,$(or $(PURPOSES_$*),$*))
