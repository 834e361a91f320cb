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

# Clang builds that prove the plug-in clean (scripts/setup.sh clang): the
# whole suite under AddressSanitizer + UndefinedBehaviorSanitizer, and under
# ThreadSanitizer, with -Werror and the thread-safety analysis; the libFuzzer
# targets for FUZZ_SECONDS each. The presets (CMakePresets.json) build in
# build-asan, build-tsan and build-fuzz. KS_STRESS_SCALE enlarges the stress
# and teardown tests.
FUZZ_SECONDS ?= 20

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
	FUZZ_SECONDS=$(FUZZ_SECONDS) scripts/fuzz.sh build-fuzz

# The soak (docs/soak.md): for SOAK_SECONDS in each lane of SOAK_LANES, each
# built first: many sessions at once ended under fills, the chaos day
# recorded and replayed, the thread-exit loop; it prints cycles, events and
# failures per lane.
SOAK_SECONDS ?= 60
SOAK_LANES ?= native asan tsan windows
SOAK_DIR_native = $(BUILD)
SOAK_DIR_asan = build-asan
SOAK_DIR_tsan = build-tsan
SOAK_DIR_windows = $(WINDOWS_BUILD)

soak: $(addprefix soak-build-,$(SOAK_LANES))
	SOAK_SECONDS=$(SOAK_SECONDS) scripts/soak.sh $(foreach lane,$(SOAK_LANES),$(SOAK_DIR_$(lane)))

.PHONY: soak-build-native soak-build-asan soak-build-tsan soak-build-windows
soak-build-native: build
soak-build-windows: build-windows
soak-build-asan soak-build-tsan: soak-build-%: setup-clang
	cmake --preset $* $(CMAKE_FLAGS)
	cmake --build --preset $* -j $(JOBS)
