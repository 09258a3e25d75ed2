# Thin wrapper over CMake for the two set-up commands of the README.
BUILD ?= build
JOBS ?= 2

.PHONY: build demo test clean

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
	cmake --build $(BUILD) -j$(JOBS)

# Runs slix on the samples shipped in samples/: a file of INDX records taken
# from a directory, then that directory read from the NTFS volume itself
# (live entries and the slack entries of deleted and renamed files).
demo: build
	./$(BUILD)/slix -indxfile samples/sample.indx -all -csv
	gzip -dc samples/sample_volume.img.gz > $(BUILD)/sample_volume.img
	./$(BUILD)/slix -image $(BUILD)/sample_volume.img -path '\small' -slack

# Builds and runs every test.
test: build
	ctest --test-dir $(BUILD) --output-on-failure

clean:
	rm -rf $(BUILD)
