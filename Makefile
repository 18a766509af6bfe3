# Entry points: `make example` and `make check`. Both install missing Debian packages first.
BUILD ?= build
SANITIZE_BUILD ?= build-sanitize
JOBS ?= $(shell nproc)
EXAMPLE_DIR ?= $(CURDIR)/example-run

.PHONY: all setup build example check test sanitize install clean bench fuzz

all: build

setup:
	@sh scripts/setup-deps

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release

build: setup $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

example: build
	@sh examples/run-example $(BUILD)/bin $(EXAMPLE_DIR)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

sanitize: setup
	cmake -S . -B $(SANITIZE_BUILD) -DCMAKE_BUILD_TYPE=Debug -DVARKEL_SANITIZE=ON
	cmake --build $(SANITIZE_BUILD) -j $(JOBS)
	cd $(SANITIZE_BUILD) && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j $(JOBS)

check: test sanitize

install: build
	cmake --install $(BUILD) --prefix $(or $(PREFIX),/usr/local)

# libFuzzer targets of the input readers (clang): build-fuzz/fuzz/fuzz_<reader>;
# run one with tests/fuzz/run-fuzz build-fuzz <reader> <seconds>.
FUZZ_BUILD ?= build-fuzz
fuzz:
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DVARKEL_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j $(JOBS)

bench: build
	sh bench/run-all $(BUILD)/bin

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(FUZZ_BUILD) $(EXAMPLE_DIR)
