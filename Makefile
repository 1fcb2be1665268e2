# Front door of the build: each target installs what is missing, configures
# and builds before it runs.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test demo bench tsan asan clean

all: build

deps:
	@sh tools/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	@cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 600

demo: build
	@$(BUILD)/tools/sc-demo examples/demo/device.prop

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && "$$b" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true || exit 1; done

# Sanitizer builds live in their own build trees.
tsan: deps
	@$(MAKE) --no-print-directory build BUILD=build-tsan CMAKE_FLAGS="-DSC_SANITIZE=thread -DSC_BUILD_BENCH=OFF"
	@cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS) -L concurrency --no-tests=error

asan: deps
	@$(MAKE) --no-print-directory test BUILD=build-asan CMAKE_FLAGS="-DSC_SANITIZE=address -DSC_BUILD_BENCH=OFF"

clean:
	rm -rf build build-tsan build-asan
