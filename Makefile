# Front door of the build. Every target installs what is missing (Debian
# packages, as root) and configures through a preset of CMakePresets.json,
# which holds the settings; CMAKE_FLAGS adds to a first configure only.
#
#   make demo      the demo host's scripted day (builds only what it needs)
#   make test      the whole suite (PRESET=ci: warnings are errors and the
#                  benchmarks are compiled too)
#   make lint      clang-format and clang-tidy
#   make package   the Linux .tar.gz and .deb and the Windows .zip, each
#                  unpacked and run (the Windows one under Wine)
#   make count-gate  the hot paths' instruction counts against their baseline
PRESET ?= default
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

WINDOWS_BUILD ?= build-windows

.PHONY: all setup build test demo lint package clean setup-lint setup-windows build-windows \
	test-windows

all: build

setup:
	@scripts/setup.sh base

$(BUILD)/build.ninja: | setup
	cmake --preset $(PRESET) -B $(BUILD) $(CMAKE_FLAGS)

build: setup $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

demo: setup $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS) --target demo_host xt_sample_config
	$(BUILD)/bin/demo_host

# clang-format over every tracked C++ file; clang-tidy (.clang-tidy) over the
# plug-in's sources, with the compile commands of $(BUILD).
setup-lint: setup
	@scripts/setup.sh lint

lint: setup-lint $(BUILD)/build.ninja
	JOBS=$(JOBS) scripts/lint.sh $(BUILD)

# The archives are made and checked by the package_* tests of both builds
# (CPack into <build>/package, then each one unpacked and run).
package: build build-windows
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) -R '^package_'
	JOBS=$(JOBS) scripts/windows-test.sh $(WINDOWS_BUILD) -R '^package_'
	@ls -l $(BUILD)/package/*.tar.gz $(BUILD)/package/*.deb $(WINDOWS_BUILD)/package/*.zip

clean:
	rm -rf $(BUILD)

# Windows x64: the three DLLs, the programs and the tests cross-built with
# mingw-w64, the suite run under Wine through CTest (scripts/windows-test.sh).
setup-windows: setup
	@scripts/setup.sh windows

$(WINDOWS_BUILD)/build.ninja: | setup-windows
	cmake --preset windows -B $(WINDOWS_BUILD) $(CMAKE_FLAGS)

build-windows: setup-windows $(WINDOWS_BUILD)/build.ninja
	cmake --build $(WINDOWS_BUILD) -j $(JOBS)

test-windows: build-windows
	JOBS=$(JOBS) scripts/windows-test.sh $(WINDOWS_BUILD)

# The benchmark suite: configures a release build with the benchmarks in
# $(BENCH_BUILD), runs it once and prints the figures table; the push-cost
# chart goes to docs/perf/push_cost.svg.
BENCH_BUILD ?= build-bench

.PHONY: bench
bench:
	@scripts/setup.sh base bench
	cmake --preset bench -B $(BENCH_BUILD) $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target ks_bench
	scripts/bench_run.sh $(BENCH_BUILD)

# Instructions per call of the hot paths (sendOrder, the order and deal
# pushes, two query replies), counted by callgrind in the ci preset's build
# (the one CI makes anyway), against bench/counts/baseline.txt: fails when
# one grows by more than 2% (scripts/count_gate.py). After a change meant to
# cost more, `make count-baseline` renews the baseline, to be committed with
# the change.
.PHONY: count-gate count-baseline
count-gate count-baseline: PRESET = ci
count-gate count-baseline: setup $(BUILD)/build.ninja
	@scripts/setup.sh bench
	@grep -q '^KS_BUILD_BENCHMARKS:BOOL=ON' $(BUILD)/CMakeCache.txt || { \
	  echo "$@: $(BUILD) is built without the benchmarks: configure it with the ci preset" >&2; \
	  exit 2; }
	cmake --build $(BUILD) -j $(JOBS) --target ks_hot_paths
	scripts/count_gate.py $(BUILD) $(if $(filter count-baseline,$@),--renew)

# Clang builds that prove the plug-in clean (scripts/setup.sh clang): the
# whole suite under AddressSanitizer + UndefinedBehaviorSanitizer, and under
# ThreadSanitizer, with -Werror and the thread-safety analysis; the libFuzzer
# targets one after the other, each for FUZZ_SECONDS (20 when neither is
# given) or FUZZ_RUNS executions (the long run: FUZZ_RUNS=10000000). The
# presets (CMakePresets.json) build in build-asan, build-tsan and build-fuzz.
# KS_STRESS_SCALE enlarges the stress and teardown tests.
FUZZ_SECONDS ?=
FUZZ_RUNS ?=

.PHONY: setup-clang test-asan test-tsan fuzz

setup-clang: setup
	@scripts/setup.sh clang

test-asan test-tsan: test-%: setup-clang
	cmake --preset $* $(CMAKE_FLAGS)
	cmake --build --preset $* -j $(JOBS)
	ctest --preset $* -j $(JOBS)

fuzz: setup-clang
	cmake --preset fuzz $(CMAKE_FLAGS)
	cmake --build --preset fuzz -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) FUZZ_RUNS=$(FUZZ_RUNS) scripts/fuzz.sh build-fuzz
