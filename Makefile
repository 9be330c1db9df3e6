# A thin front on the CMake presets. Every target installs what it misses (scripts/setup), builds, and runs.

JOBS ?= $(shell nproc)

# The main job: artwork, rasterised, encoded, through the monitor, into the embedded virtual printer.
PRINT_JOB = samples/shipping-label.png samples/address-label.png

.DEFAULT_GOAL := help

.PHONY: help
help: ## list the targets
	@sed -n 's/^\([a-z-]*\):.*## /  make \1\t/p' Makefile | expand -t 22

.PHONY: build
build: ## build the library and the command line: build/lib, build/bin
	@scripts/setup build test
	@cmake --preset release --log-level=WARNING
	@cmake --build --preset release -j $(JOBS)

.PHONY: print
print: ## print the sample labels on the virtual printer; pictures in out/
	@scripts/setup build test
	@cmake --preset release --log-level=WARNING
	@cmake --build --preset release -j $(JOBS) --target sc3xx
	@build/bin/sc3xx print $(PRINT_JOB) --out out

.PHONY: test
test: build ## run all tests
	@ctest --preset release -j $(JOBS)

.PHONY: asan tsan
asan tsan: ## run the tests under the address and undefined behaviour sanitizers, or the thread sanitizer
	@scripts/setup build test
	@cmake --preset $@ --log-level=WARNING
	@cmake --build --preset $@ -j $(JOBS)
	@ctest --preset $@ -j $(JOBS)

.PHONY: bench
bench: ## measure, as ratios in one run
	@scripts/setup build bench
	@cmake --preset bench --log-level=WARNING
	@cmake --build --preset bench -j $(JOBS) --target bench
	@build/bench/bin/bench

.PHONY: fuzz
fuzz: ## run each fuzz target for a minute (SECONDS_EACH=60)
	@scripts/setup build fuzz
	@fuzz/run $${SECONDS_EACH:-60}

.PHONY: windows
windows: ## build the library for Windows: build/windows/sc3xxmon.dll and a zip to install it from
	@scripts/setup windows
	@cmake --preset windows --log-level=WARNING
	@cmake --build --preset windows -j $(JOBS)

.PHONY: test-windows
test-windows: ## run the tests on Windows' own calls, under Wine
	@scripts/setup build test windows test-windows
	@cmake --preset release --log-level=WARNING
	@cmake --build --preset release -j $(JOBS) --target sc3xx
	@cmake --preset windows-tests --log-level=WARNING
	@cmake --build --preset windows-tests -j $(JOBS)
	@scripts/test-windows build/windows -j $(JOBS)

.PHONY: check-windows
check-windows: windows ## have clang read the Windows side as well
	@scripts/setup check
	@scripts/check-windows

.PHONY: coverage
coverage: ## line coverage of src/ by the tests
	@scripts/setup build test coverage
	@cmake --preset coverage --log-level=WARNING
	@cmake --build --preset coverage -j $(JOBS)
	@ctest --preset coverage -j $(JOBS) --quiet
	@gcovr --root . --filter src/ --object-directory build/coverage --print-summary

.PHONY: check
check: ## formatting and the rules of the tree
	@scripts/setup check
	@scripts/check

.PHONY: tidy
tidy: ## static analysis
	@scripts/setup build test check
	@cmake --preset release --log-level=WARNING
	@git ls-files 'src/*.cpp' 'simulator/*.cpp' 'apps/*.cpp' | grep -v /win32/ | \
	  xargs -P $(JOBS) -n 4 clang-tidy --quiet -p build/release

.PHONY: format
format: ## format all sources
	@scripts/setup check
	@git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format -i

.PHONY: samples
samples: ## draw the sample artwork anew
	@scripts/setup build test samples
	@samples/make-samples

.PHONY: clean
clean: ## remove build/ and out/
	@rm -rf build out
