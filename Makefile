# The two commands of the README, and a few more for developers.
BUILD ?= build
CMAKE_FLAGS ?=

.PHONY: all bootstrap configure build test demo bench fuzz load clean

all: build

bootstrap:
	@scripts/bootstrap

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)

configure: bootstrap $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD)

test: build
	cd $(BUILD) && ctest --output-on-failure --timeout 600

# The SDK: the DLL and the tools built and installed in
# build/sdk/orvane64-sdk-VERSION, and that folder zipped.
.PHONY: sdk
sdk: configure
	cmake --build $(BUILD) --target sdk

demo: build
	scripts/demo $(BUILD)

# Timed from the start: configuring and building are part of the figure.
bench: bootstrap
	@started=$$(date +%s.%N) && \
	  $(MAKE) -s --no-print-directory $(BUILD)/build.ninja && \
	  cmake --build $(BUILD) --target orvane-bench && \
	  BENCH_STARTED=$$started scripts/bench $(BUILD)

# The long fuzzing pass: every target for FUZZ_RUNS inputs.
FUZZ_RUNS ?= 1000000
fuzz: configure
	cmake --build $(BUILD) --target orvane_fuzz
	@started=$$(date +%s) && cd $(BUILD) && \
	  bash $(CURDIR)/tests/fuzz/fuzz-netns.sh wineprefix-fuzz bin/orvane_fuzz.exe \
	    --runs $(FUZZ_RUNS) --crashes fuzz-crashes && \
	  echo "make fuzz: $$(( $$(date +%s) - started )) s"
	$(MAKE) --no-print-directory load

# The long load: 32 threads on each public operation for LOAD_SECONDS.
LOAD_SECONDS ?= 60
load: configure
	cmake --build $(BUILD) --target reliability_tests
	cd $(BUILD) && ORVANE_LOAD_SECONDS=$(LOAD_SECONDS) bash $(CURDIR)/tests/reliability/fault-matrix.sh \
	  wineprefix-reliability bin/reliability_tests.exe --gtest_filter='Load.*'

clean:
	rm -rf $(BUILD)
