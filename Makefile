# A thin front of the CMake presets. Both commands of the README do their own set-up.
SHELL := /bin/bash
JOBS ?= $(shell nproc)

.PHONY: help demo check build bench asan tsan clang coverage fuzz format install-packages clean

help:
	@echo "make demo      install what is missing, build, translate a terminal screen and show its trace"
	@echo "make check     install what is missing, build, run every test"
	@echo "make bench     release build and all benchmarks (docs/performance.md)"
	@echo "make asan      the tests under AddressSanitizer and UndefinedBehaviorSanitizer"
	@echo "make tsan      the threaded tests under ThreadSanitizer"
	@echo "make coverage  line coverage of the library"
	@echo "make fuzz      60 seconds of each fuzz target (FUZZ_SECONDS=n)"
	@echo "make format    format all sources"

install-packages:
	@scripts/install_packages.sh

build: install-packages
	@cmake --preset dev > /dev/null
	@cmake --build --preset dev -j $(JOBS)

demo: install-packages
	@cmake --preset dev > /dev/null
	@cmake --build --preset dev -j $(JOBS) --target demo_parts
	@scripts/demo.sh build/dev

check: build
	@ctest --preset dev -j $(JOBS)

bench: install-packages
	@cmake --preset release > /dev/null
	@cmake --build --preset release -j $(JOBS)
	@scripts/bench.sh build/release

asan tsan: install-packages
	@cmake --preset $@ > /dev/null
	@cmake --build --preset $@ -j $(JOBS)
	@ctest --preset $@ -j $(JOBS)

clang: install-packages
	@cmake --preset clang -DVELA_TESTS=OFF > /dev/null
	@cmake --build --preset clang -j $(JOBS)

coverage: install-packages
	@scripts/coverage.sh

fuzz: install-packages
	@scripts/fuzz.sh

format:
	@scripts/format.sh

clean:
	rm -rf build
