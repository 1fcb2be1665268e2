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

# The start-up of a sample unit, then a simulated session (screen-leakage
# simulator, numpy) replayed through the library on the sample SensorConfig
# tree with the unit's factory calibration.
DEMO_SESSION = $(BUILD)/demo/session
demo: build
	@$(BUILD)/tools/sc-demo examples/demo/device.prop
	@echo
	@test -f $(DEMO_SESSION)/session.jsonl || /usr/bin/python3 -m tools.sim session --out $(DEMO_SESSION) --frames 300 --fps 10 --seed 7 >/dev/null 2>&1
	@echo "Sample SensorConfig tree: \c"; $(BUILD)/tools/sensorcfg/sensorcfg lint examples/SensorConfig | tail -1
	@echo
	@$(BUILD)/tools/sensorcfg/sensorcfg replay $(DEMO_SESSION) --config examples/SensorConfig --out $(BUILD)/demo/replay

# Benchmarks run pinned to one core (BENCH_CPU, the last by default); their
# peers (oneDNN, XNNPACK) are installed for them alone.
BENCH_CPU ?= $(shell expr $$(nproc) - 1)
PIN = $(shell command -v taskset >/dev/null && echo taskset -c $(BENCH_CPU))
bench:
	@sh tools/install-deps.sh bench
	@$(MAKE) --no-print-directory build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && $(PIN) "$$b" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true || exit 1; done

# Sanitizer builds live in their own build trees.
tsan: deps
	@$(MAKE) --no-print-directory build BUILD=build-tsan CMAKE_FLAGS="-DSC_SANITIZE=thread -DSC_BUILD_BENCH=OFF"
	@cd build-tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j $(JOBS) -L concurrency --no-tests=error

asan: deps
	@$(MAKE) --no-print-directory test BUILD=build-asan CMAKE_FLAGS="-DSC_SANITIZE=address -DSC_BUILD_BENCH=OFF"

clean:
	rm -rf build build-tsan build-asan
