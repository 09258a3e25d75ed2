# Thin wrapper over CMake for the two set-up commands of the README.
BUILD ?= build
JOBS ?= 2

.PHONY: build demo test clean

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j$(JOBS)

# Runs slix on the small INDX sample shipped in samples/.
demo: build
	./$(BUILD)/slix -indxfile samples/sample.indx -all

# Builds and runs every test.
test: build
	ctest --test-dir $(BUILD) --output-on-failure

clean:
	rm -rf $(BUILD)
