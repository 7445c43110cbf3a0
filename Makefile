# The commands of the project; each does the set-up that it needs. The building itself is CMake's and Ninja's.
#
#   make demo     photographs through zelmor.imaging, before and after (IN=picture, or a folder of them, for your own)
#   make test     all tests, closing with their count
#   make build    an importable package in build/python
#   make bench    speed against hand-written C, pybind11 and PyQt5; streams; collections; import time; sizes; memory
#   make docs     the API reference, as Markdown in build/docs/pages and as a site with search in build/docs/html
#   make fuzz     the property tests with many more examples
#   make debug-test, make sanitize, make valgrind
#                 the tests under the debug interpreter, the address and undefined-behavior sanitizers, and valgrind
#                 (slow: name some with TESTS=tests/python/images/test_x.py)
#   make growth   use every member again and again, and tell where Python's memory grows (slow; name parts of class
#                 names with CLASSES="Bmp Tiff")
#   make mutants  change the sources in single places, one at a time, and tell which changes no test notices (slow;
#                 COUNT=20 SEED=1 MINUTES=60 PATHS="convert streams" LIST=1; see build/mutants/survivors.txt)
#   make scale    generation, compilation and size at the number of types and members of the whole API
#   make identifiers
#                 complete the tables of type identifiers
#   make lint     formatting, clang-tidy, flake8, mypy
#   make format   format the C++ sources in place
#   make setup    install every Debian package of packages.txt
#   make clean    remove the build tree

BUILD ?= build
JOBS ?= $(shell nproc)
PYTHON := /usr/bin/python3
# No byte code beside the sources, and no other copy of the package than the one just built.
RUN := PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$(BUILD)/python $(PYTHON)

# Looked up when it is used, since the set-up may just have installed it.
CACHE = env;CCACHE_SLOPPINESS=pch_defines,time_macros;ccache
LAUNCHER = $(if $(wildcard /usr/bin/ccache),"-DCMAKE_C_COMPILER_LAUNCHER=$(CACHE)" "-DCMAKE_CXX_COMPILER_LAUNCHER=$(CACHE)")

.DEFAULT_GOAL := build
# The prerequisites below stand in order: packages first, then the build.
.NOTPARALLEL:
.PHONY: setup build demo test docs bench scale fuzz debug-test sanitize valgrind growth mutants identifiers lint format clean

setup:
	@tools/setup.sh

# CMake runs again by itself when its files change; only the first time it has to be asked.
# On a terminal Ninja keeps its progress in one line; elsewhere it is told to say nothing but what goes wrong.
COMPILE = [ -t 1 ] && quiet= || { quiet=--quiet; echo "building with $(JOBS) jobs in $(BUILD)"; }; build() { \
    cmake --build $(BUILD) -j $(JOBS) --target "$$@" -- $$quiet; }; build

build: configure
	@$(COMPILE) product test-runtime

.PHONY: configure product everything
configure: setup-build
	@test -f $(BUILD)/build.ninja || cmake -S . -B $(BUILD) -G Ninja $(LAUNCHER)
product: configure
	@$(COMPILE) product
everything: configure
	@$(COMPILE) tests

demo: setup-demo product
	@$(RUN) examples/photo_tour.py --out $(BUILD)/demo $(IN)
	@$(RUN) examples/contact_sheet.py $(BUILD)/demo

test: setup-test everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --jobs $(JOBS) $(TESTS)

CATALOGUES := api/catalogue $(addprefix siblings/catalogue/,pyreflection pyio pydrawing)
docs: setup-build setup-docs
	@$(PYTHON) -B -m tools.generator reference $(BUILD)/docs docs $(CATALOGUES)
	@mkdocs build --quiet --strict --clean -f $(BUILD)/docs/mkdocs.yml
	@echo "open it with: $(PYTHON) -m http.server -d $(BUILD)/docs/html"

bench: setup-bench product
	@cmake -S bench -B $(BUILD)/bench -G Ninja -DCMAKE_BUILD_TYPE=Release >$(BUILD)/bench-configure.log
	@cmake --build $(BUILD)/bench
	@$(RUN) bench/run.py --build $(BUILD)

scale: setup-build
	@tools/scale.sh $(BUILD)-scale $(JOBS)

fuzz: setup-test everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --fuzz $(TESTS)

debug-test: setup-test setup-check everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --under debug $(TESTS)

# A build tree of its own. The unit tests already run while it is built, to be listed.
sanitize: setup-test
	@cmake -S . -B $(BUILD)-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug $(LAUNCHER) \
	    -DCMAKE_CXX_FLAGS="-O1 -fno-omit-frame-pointer -fsanitize=address,undefined" \
	    -DCMAKE_C_FLAGS="-O1 -fno-omit-frame-pointer -fsanitize=address,undefined" >/dev/null
	@ASAN_OPTIONS=detect_leaks=0 cmake --build $(BUILD)-sanitize -j $(JOBS) --target tests
	@$(PYTHON) tools/run_tests.py --build $(BUILD)-sanitize --under sanitizers $(TESTS)

valgrind: setup-test setup-check everything
	@$(PYTHON) tools/run_tests.py --build $(BUILD) --under valgrind $(TESTS)

growth: setup-test everything
	@ZELMOR_BUILD_DIR=$(BUILD) $(RUN) tests/python/support/programs/memory_growth.py $(CLASSES)

# In a copy of the tree below the build tree.
COUNT ?= 20
SEED ?= 1
mutants: setup-test
	@$(PYTHON) -B -m tools.mutants --build $(BUILD) --jobs $(JOBS) --count $(COUNT) --seed $(SEED) $(if $(LIST),--list) \
	    $(if $(MINUTES),--minutes $(MINUTES)) \
	    --launcher "$(if $(wildcard /usr/bin/ccache),$(CACHE))" $(PATHS)

identifiers:
	@for catalogue in api/catalogue siblings/catalogue/*; do \
	    $(PYTHON) -B -m tools.generator identifiers $$catalogue || exit 1; done

lint: setup-lint everything
	@tools/lint.sh $(BUILD)

format: setup-lint
	@git ls-files -z '*.cpp' '*.h' '*.c' | xargs -0 clang-format-16 -i

clean:
	rm -rf $(BUILD) $(BUILD)-sanitize $(BUILD)-scale

.PHONY: setup-build setup-demo setup-test setup-bench setup-check setup-lint setup-docs
setup-build setup-demo setup-test setup-bench setup-check setup-lint setup-docs: setup-%:
	@tools/setup.sh -q build $(filter-out build,$*)
