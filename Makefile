# Front door of the build. `make demo` and `make test` install what is
# missing (Debian packages, as root), configure, build and run.
BUILD ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

WINDOWS_BUILD ?= build-windows

.PHONY: all setup build test demo clean setup-windows test-windows

all: build

setup:
	@scripts/setup.sh base

$(BUILD)/build.ninja: | setup
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

build: setup $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

demo: build
	$(BUILD)/bin/demo_host

clean:
	rm -rf $(BUILD)

# Windows x64: the three DLLs, the programs and the tests cross-built with
# mingw-w64, the suite run under Wine through CTest (scripts/windows-test.sh).
setup-windows: setup
	@scripts/setup.sh windows

$(WINDOWS_BUILD)/build.ninja: | setup-windows
	cmake --preset windows -B $(WINDOWS_BUILD)

test-windows: setup-windows $(WINDOWS_BUILD)/build.ninja
	cmake --build $(WINDOWS_BUILD) -j $(JOBS)
	JOBS=$(JOBS) scripts/windows-test.sh $(WINDOWS_BUILD)

# The benchmark suite: configures a release build with the benchmarks in
# $(BENCH_BUILD), runs it once and prints the figures table; the push-cost
# chart goes to docs/perf/push_cost.svg.
BENCH_BUILD ?= build-bench

.PHONY: bench
bench:
	@scripts/setup.sh base bench
	cmake -S . -B $(BENCH_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKS_BUILD_BENCHMARKS=ON $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target ks_bench
	scripts/bench_run.sh $(BENCH_BUILD)

# Clang builds that prove the plug-in clean (scripts/setup.sh clang): the
# whole suite under AddressSanitizer + UndefinedBehaviorSanitizer, and under
# ThreadSanitizer, with -Werror and the thread-safety analysis; the libFuzzer
# targets for FUZZ_SECONDS each. The presets (CMakePresets.json) build in
# build-asan, build-tsan and build-fuzz. KS_STRESS_SCALE enlarges the stress
# and teardown tests.
FUZZ_SECONDS ?= 20

.PHONY: setup-clang test-asan test-tsan fuzz

setup-clang: setup
	@scripts/setup.sh clang

test-asan test-tsan: test-%: setup-clang
	cmake --preset $*
	cmake --build --preset $* -j $(JOBS)
	ctest --preset $* -j $(JOBS)

fuzz: setup-clang
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) scripts/fuzz.sh build-fuzz
