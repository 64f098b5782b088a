# The two commands of the README, and a few more for developers.
BUILD ?= build
CMAKE_FLAGS ?=

.PHONY: all bootstrap configure build test demo bench clean

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

demo: build
	scripts/demo $(BUILD)

clean:
	rm -rf $(BUILD)
