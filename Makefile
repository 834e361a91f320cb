# Front door of the build. Every target installs what is missing (Debian
# packages, as root) and configures through a preset of CMakePresets.json,
# which holds the settings; CMAKE_FLAGS adds to each configure it makes.
# Each target works whatever ran before it: the native targets share
# $(BUILD) and configure it again when they need another preset.
#
#   make demo      the demo host's scripted day (builds only what it needs)
#   make test      the whole suite (PRESET=ci: warnings are errors and the
#                  benchmarks are compiled too)
#   make lint      clang-format and clang-tidy
#   make package   the Linux .tar.gz and .deb and the Windows .zip (Visual
#                  C++'s ABI), each unpacked and run (the .zip under Wine)
#   make count-gate  the hot paths' instruction counts against their baseline
PRESET ?= default
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
CMAKE ?= cmake
# A preset asked for (PRESET on the command line or in the environment, or
# by a door that needs one) is required of $(BUILD): a folder configured with
# another is configured again (scripts/configure_build.sh). Otherwise a
# configured $(BUILD) is used as it is, and PRESET only names the first one.
PRESET_REQUIRED = $(if $(filter file,$(origin PRESET)),no,yes)

WINDOWS_BUILD ?= build-windows
MSVC_BUILD ?= build-msvc

.PHONY: all setup configure build test demo lint package clean setup-lint setup-windows \
	build-windows test-windows setup-msvc build-msvc test-msvc

all: build

setup:
	@scripts/setup.sh base

configure: setup
	CMAKE=$(CMAKE) scripts/configure_build.sh $(BUILD) $(PRESET) $(PRESET_REQUIRED) $(CMAKE_FLAGS)

build: configure
	$(CMAKE) --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

demo: configure
	$(CMAKE) --build $(BUILD) -j $(JOBS) --target demo_host xt_sample_config
	$(BUILD)/bin/demo_host

# clang-format over every tracked C++ file; clang-tidy (.clang-tidy) over the
# plug-in's sources, with the compile commands of $(BUILD).
setup-lint: setup
	@scripts/setup.sh lint

lint: setup-lint configure
	JOBS=$(JOBS) scripts/lint.sh $(BUILD)

# The archives are made and checked by the package_* tests of the native
# build and of the build in Visual C++'s ABI (CPack into <build>/package, then
# each one unpacked and run; a host project built against each).
package: build build-msvc
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) -R '^package_'
	JOBS=$(JOBS) scripts/windows-test.sh $(MSVC_BUILD) -R '^package_'
	@ls -l $(BUILD)/package/*.tar.gz $(BUILD)/package/*.deb $(MSVC_BUILD)/package/*.zip

clean:
	rm -rf $(BUILD)

# Windows x64: the three DLLs, the programs and the tests cross-built, the
# suite run under Wine through CTest (scripts/windows-test.sh), in two lanes:
#   make test-msvc     clang in Visual C++'s C++ ABI with Microsoft's STL,
#                      the binaries a Visual C++ host loads (preset msvc)
#   make test-windows  mingw-w64, GCC's C++ ABI (preset windows)
lane_dir_windows = $(WINDOWS_BUILD)
lane_dir_msvc = $(MSVC_BUILD)

setup-windows setup-msvc: setup-%: setup
	@scripts/setup.sh $*

build-windows build-msvc: build-%: setup-%
	test -f $(lane_dir_$*)/build.ninja || cmake --preset $* -B $(lane_dir_$*) $(CMAKE_FLAGS)
	cmake --build $(lane_dir_$*) -j $(JOBS)

test-windows test-msvc: test-%: build-%
	JOBS=$(JOBS) scripts/windows-test.sh $(lane_dir_$*)

# The benchmark suite: configures a release build with the benchmarks in
# $(BENCH_BUILD), runs it once and prints the figures table; the push-cost
# chart goes to docs/perf/push_cost.svg.
BENCH_BUILD ?= build-bench

.PHONY: bench
bench:
	@scripts/setup.sh base bench
	cmake --preset bench -B $(BENCH_BUILD) $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target ks_bench journal_report journal_dump journal_forge
	scripts/bench_run.sh $(BENCH_BUILD)
	python3 scripts/bench_journal_tools.py $(BENCH_BUILD)

# Instructions per call of the hot paths (sendOrder, the order and deal
# pushes, two query replies), counted by callgrind in the ci preset's build
# (the one CI makes anyway), against bench/counts/baseline.txt: fails when
# one grows by more than 2% (scripts/count_gate.py). After a change meant to
# cost more, `make count-baseline` renews the baseline, to be committed with
# the change.
.PHONY: count-gate count-baseline
count-gate count-baseline: PRESET = ci
count-gate count-baseline: PRESET_REQUIRED = yes
count-gate count-baseline: configure
	@scripts/setup.sh bench
	@grep -q '^KS_BUILD_BENCHMARKS:BOOL=ON' $(BUILD)/CMakeCache.txt || { \
	  echo "$@: $(BUILD) is built without the benchmarks: configure it with the ci preset" >&2; \
	  exit 2; }
	$(CMAKE) --build $(BUILD) -j $(JOBS) --target ks_hot_paths
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

.PHONY: setup-clang test-asan test-tsan fuzz soak

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

# The soak (docs/soak.md): for SOAK_SECONDS in each lane of SOAK_LANES, each
# built first: many sessions at once ended under fills, the chaos day
# recorded and replayed, the thread-exit loop; it prints cycles, events and
# failures per lane.
SOAK_SECONDS ?= 60
SOAK_LANES ?= native asan tsan windows msvc
SOAK_DIR_native = $(BUILD)
SOAK_DIR_asan = build-asan
SOAK_DIR_tsan = build-tsan
SOAK_DIR_windows = $(WINDOWS_BUILD)
SOAK_DIR_msvc = $(MSVC_BUILD)

soak: $(addprefix soak-build-,$(SOAK_LANES))
	SOAK_SECONDS=$(SOAK_SECONDS) scripts/soak.sh $(foreach lane,$(SOAK_LANES),$(SOAK_DIR_$(lane)))

.PHONY: soak-build-native soak-build-asan soak-build-tsan soak-build-windows soak-build-msvc
soak-build-native: build
soak-build-windows: build-windows
soak-build-msvc: build-msvc
soak-build-asan soak-build-tsan: soak-build-%: setup-clang
	cmake --preset $* $(CMAKE_FLAGS)
	cmake --build --preset $* -j $(JOBS)
