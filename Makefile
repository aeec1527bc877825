# What people type; CMake and its presets do the work. See README.md and CONTRIBUTING.md.
#
#   make demo                 builds everything and shows it at work
#   make check                runs the tests; SAN=thread or SAN=address for a sanitizer build
#   make check-lttng-2.12     runs the tests of tracing with LTTng-UST 2.12 and its session daemon
#   make check-abi            compares the libraries' binary interfaces with those they are meant to have;
#                             make update-abi renews these, for a change that is meant
#   make check-arm64          builds for AArch64 and runs the tests under qemu-user
#   make build                builds; PRESET=debug, clang, ... picks another preset
#   make coverage             runs the tests of the modules, prints which lines and branches ran, and
#                             fails when those are too few
#   make check-valgrind       runs the tests of the modules under valgrind; ALL=1 also those that use
#                             libitc's mailboxes, 10 minutes more
#   make install              installs below PREFIX (/usr/local), DESTDIR in front of it
#   make bench                runs the benchmarks
#   make models               searches the models of platform/itc and prints their sizes
#   make chaos MINUTES=2      kills and stops processes at random for so long; SEED=n replays a run
#   make bench-itc            mailboxes side by side with what could be used instead, 5 minutes;
#                             QUICK=1 for a glance, PLOT=1 to renew what docs/performance.md shows
#   make fuzz SECONDS=60      lets libFuzzer loose on both targets of platform/itc at once for so long
#   make format               clang-format
#   make lint                 clang-format's and clang-tidy's verdict, ALL=1 for that of the tests too
#   make clean                removes build/
#
# JOBS=n compiles so many sources at once (as many as there are processors), TEST_JOBS=n runs so many
# tests (twice as many).

SAN ?=
MINUTES ?= 1
SECONDS ?= 60
SEED ?=
PRESET ?= $(if $(SAN),$(SAN),release)
JOBS ?= $(shell nproc)
# Many a test waits for something; twice as many keep the processors busy.
TEST_JOBS ?= $(shell expr 2 \* $(JOBS))
PREFIX ?= /usr/local
ARCH ?= $(if $(filter arm64,$(PRESET)),aarch64,$(shell uname -m))
FOLDER = build/$(PRESET)

.DEFAULT_GOAL := build
.PHONY: packages build demo check install bench format lint clean models chaos bench-itc fuzz \
	check-arm64 check-lttng-2.12 check-abi update-abi coverage check-valgrind

CLANG_PRESETS = address clang fuzz

packages:
	@tools/install-packages
	@$(if $(filter $(PRESET),$(CLANG_PRESETS)),tools/install-packages clang)

build: packages
	@test -f $(FOLDER)/build.ninja || cmake --preset $(PRESET)
	@cmake --build --preset $(PRESET) --parallel $(JOBS)

demo: packages
	@test -f $(FOLDER)/build.ninja || cmake --preset $(PRESET)
	@cmake --build --preset $(PRESET) --parallel $(JOBS) --target rci collector store minimalService
	@examples/demo.sh $(FOLDER)

check: build
	@ctest --test-dir $(FOLDER) --parallel $(TEST_JOBS) --output-on-failure

check-arm64: packages
	@tools/install-packages arm64
	@test -f build/arm64/build.ninja || cmake --preset arm64
	@cmake --build --preset arm64 --parallel $(JOBS)
	@tests/emulation/run build/arm64 --parallel $(TEST_JOBS)

check-lttng-2.12: packages
	@tools/fetch-lttng-2.12 build/lttng-2.12/packages
	@test -f build/lttng-2.12/build.ninja || cmake --preset lttng-2.12
	@cmake --build --preset lttng-2.12 --parallel $(JOBS)
	@ctest --preset lttng-2.12 --parallel $(TEST_JOBS); result=$$?; \
	    grep -E '^(passed|FAILED): ' build/lttng-2.12/Testing/Temporary/LastTest.log; exit $$result

check-abi update-abi: packages
	@tools/install-packages abi
	@test -f $(FOLDER)/build.ninja || cmake --preset $(PRESET)
	@cmake --build --preset $(PRESET) --parallel $(JOBS) --target quoria itc tpt
	@tests/abi/checkAbi.sh $(FOLDER) $(ARCH) $(if $(filter update-abi,$@),--update,)

coverage: packages
	@tools/install-packages coverage
	@test -f build/coverage/build.ninja || cmake --preset coverage
	@cmake --build --preset coverage --parallel $(JOBS)
	@tests/coverage/run.sh build/coverage $(TEST_JOBS)

check-valgrind: build
	@tests/valgrind/run.sh $(FOLDER) $(JOBS) $(if $(ALL),all)

install: build
	@cmake --install $(FOLDER) --prefix $(abspath $(PREFIX))

models: packages
	@test -f $(FOLDER)/build.ninja || cmake --preset $(PRESET)
	@ctest --test-dir $(FOLDER) --label-regex '^model$$' --parallel $(JOBS) --verbose

chaos: packages
	@test -f $(FOLDER)/build.ninja || cmake --preset $(PRESET)
	@cmake --build --preset $(PRESET) --parallel $(JOBS) --target itcChaos
	@$(FOLDER)/bin/itcChaos --seconds $$(($(MINUTES) * 60)) $(if $(SEED),--seed $(SEED))

fuzz: packages
	@tools/install-packages clang
	@test -f build/fuzz/build.ninja || cmake --preset fuzz
	@cmake --build --preset fuzz --parallel $(JOBS)
	@platform/itc/fuzz/run.sh build/fuzz $(SECONDS)

bench: build
	@set -e; for bench in $(FOLDER)/bin/*Bench; do echo "== $$bench"; $$bench; done
	@bench/trace/countStatement.sh $(FOLDER)/bin/countedTraceLoops || test $$? = 77

# Contenders whose package can't be installed are left out.
bench-itc: packages
	@tools/install-packages bench-itc || true
	@cmake --preset $(PRESET) -DQUORIA_BENCH_PEERS=ON
	@cmake --build --preset $(PRESET) --parallel $(JOBS) --target benchItc
	@$(FOLDER)/bin/benchItc $(if $(QUICK),--rounds 3,) --json $(FOLDER)/bench-itc.json \
		--markdown $(FOLDER)/bench-itc.md --plot-data $(FOLDER)/bench-itc.tsv
	@$(if $(PLOT),bench/itc/publish.sh $(FOLDER),)

format:
	@tools/install-packages lint
	@git ls-files '*.h' '*.cc' | xargs clang-format -i

# clang-tidy does not look at the benchmark's contenders that need packages of their own: the preset does
# not build them. On standard error, it only counts what it found in the system's headers.
lint: packages
	@tools/install-packages lint
	@test -f build/clang/build.ninja || cmake --preset clang
	@git ls-files '*.h' '*.cc' | xargs clang-format --dry-run -Werror
	@sed -n 's|^ *"file": "$(CURDIR)/\(.*\)".*|\1|p' build/clang/compile_commands.json | sort -u \
	    | grep -Ev '$(if $(ALL),^$$,(^|/)tests?/)' \
	    | xargs -n 1 -P $(JOBS) clang-tidy -p build/clang --quiet 2>build/clang/tidy.log

clean:
	@rm -rf build
