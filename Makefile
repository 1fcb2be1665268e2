# Front door of the build: each target installs what is missing, configures
# and builds before it runs.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: all deps configure build test demo bench tsan asan fuzz memcheck test-aarch64 clean

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

# libFuzzer targets (clang), each run for FUZZ_SECONDS on a working copy of
# its committed corpus; a crash stops the run with its input saved under
# build-fuzz/artifacts and the run going on to the next target. FUZZ_TARGETS
# picks a subset.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?= param_store gaussian_fit lux_cnn light_regression cnn_lux_delta split_string project_feature factory_calibration
FUZZ_BUILD = build-fuzz
# Absolute paths: a target may change its working directory.
FUZZ_DIR = $(CURDIR)/$(FUZZ_BUILD)
fuzz:
	@sh tools/install-deps.sh clang libclang-rt-14-dev
	@cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
		-DSC_FUZZ=ON -DSC_BUILD_TESTS=OFF -DSC_BUILD_BENCH=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(addprefix fuzz_,$(FUZZ_TARGETS)) >/dev/null
	@failed=""; for t in $(FUZZ_TARGETS); do \
		mkdir -p $(FUZZ_DIR)/corpus/$$t $(FUZZ_DIR)/artifacts/$$t $(FUZZ_DIR)/logs; \
		cp -n fuzz/corpus/$$t/* $(FUZZ_DIR)/corpus/$$t/; \
		dict=""; [ -f fuzz/$$t.dict ] && dict="-dict=$(CURDIR)/fuzz/$$t.dict"; \
		echo "fuzz_$$t: $(FUZZ_SECONDS) s"; \
		$(FUZZ_DIR)/fuzz/fuzz_$$t -max_total_time=$(FUZZ_SECONDS) -timeout=60 -print_final_stats=1 $$dict \
			-artifact_prefix=$(FUZZ_DIR)/artifacts/$$t/ $(FUZZ_DIR)/corpus/$$t $(CURDIR)/fuzz/corpus/$$t \
			> $(FUZZ_DIR)/logs/$$t.log 2>&1 || { grep -A12 -E '(ERROR|runtime error)' $(FUZZ_DIR)/logs/$$t.log; failed="$$failed $$t"; }; \
		grep -E '^stat::(number_of_executed_units|average_exec_per_sec|new_units_added)' $(FUZZ_DIR)/logs/$$t.log | tr '\n' ' '; \
		echo "corpus: $$(ls $(FUZZ_DIR)/corpus/$$t | wc -l) files"; \
	done; \
	[ -z "$$failed" ] || { echo "fuzz: crashes in:$$failed (inputs under $(FUZZ_BUILD)/artifacts)"; exit 1; }

# AArch64: the library and the whole suite cross-built with Debian's
# g++-aarch64-linux-gnu against the arm64 multiarch packages, every program run
# under qemu-aarch64 (the NEON kernels in use). libbacktrace, under libutils,
# needs p7zip's 7z.so from a directory that is not multiarch: its arm64 build
# is unpacked into the build tree instead of installed.
AARCH64_BUILD = build-aarch64
AARCH64_LIBS = $(CURDIR)/$(AARCH64_BUILD)/p7zip/usr/lib/p7zip
test-aarch64:
	@sh tools/install-deps.sh aarch64
	@test -f $(AARCH64_LIBS)/7z.so || { mkdir -p $(AARCH64_BUILD) && cd $(AARCH64_BUILD) && \
		apt-get download -qq -o APT::Sandbox::User=root p7zip-full:arm64 && \
		dpkg-deb -x p7zip-full_*_arm64.deb p7zip && rm -f p7zip-full_*_arm64.deb; }
	@cmake -S . -B $(AARCH64_BUILD) -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DSC_BUILD_BENCH=OFF -DSC_AARCH64_EXTRA_LIBS=$(AARCH64_LIBS) >/dev/null
	@cmake --build $(AARCH64_BUILD) -j $(JOBS)
	@cd $(AARCH64_BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 1200

# valgrind memcheck over every test program (or those named in
# MEMCHECK_TESTS), the programs they start (sensorcfg, the model-data
# generator) and the demo. The allocation-counting programs that forward
# malloc to glibc themselves are left out: memcheck cannot follow them. About
# an hour on a 2-core machine.
MEMCHECK_TESTS ?= $(filter-out %_alloc_tests,$(notdir $(wildcard $(BUILD)/tests/*/*_tests $(BUILD)/tests/*/*/*_tests)))
VALGRIND = valgrind --trace-children=yes --error-exitcode=99 --suppressions=tests/reliability/valgrind.supp --leak-check=full --errors-for-leak-kinds=definite --quiet
memcheck: build
	@sh tools/install-deps.sh valgrind
	@for t in $(MEMCHECK_TESTS); do \
		p=$$(find $(BUILD)/tests -type f -name $$t -perm -u+x | head -1); \
		echo "memcheck $$t"; \
		SC_SOURCE_DIR=$(CURDIR) $(VALGRIND) $$p --gtest_brief=1 --gtest_filter=-*DeathTest* >/dev/null || exit 1; \
	done
	@echo "memcheck demo"
	@$(VALGRIND) $(BUILD)/tools/sc-demo examples/demo/device.prop >/dev/null
	@$(MAKE) --no-print-directory demo >/dev/null
	@$(VALGRIND) $(BUILD)/tools/sensorcfg/sensorcfg replay $(DEMO_SESSION) --config examples/SensorConfig --out $(BUILD)/demo/replay-memcheck >/dev/null
	@echo "memcheck: no errors, no definite leaks"

clean:
	rm -rf build build-tsan build-asan build-fuzz build-aarch64
