# The newcomer's contract: `make run` and `make test` set everything up themselves.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps configure build run test bench fuzz package format clean

all: build

deps:
	@scripts/install-deps.sh

$(BUILD_DIR)/build.ninja: | deps
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)

configure: $(BUILD_DIR)/build.ninja

build: deps configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	scripts/run.sh $(BUILD_DIR)/cliphaven

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

# Each fuzz target for FUZZ_SECONDS (clang with libFuzzer, from scripts/packages.txt).
FUZZ_SECONDS ?= 300
fuzz: deps
	scripts/fuzz.sh $(BUILD_DIR) $(FUZZ_SECONDS)

# cliphaven_<version>_amd64.deb in the build folder, from what `cmake --install` installs.
package: build
	cd $(BUILD_DIR) && cpack -G DEB

bench: build
	scripts/run-benchmarks.sh $(BUILD_DIR)

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR)
