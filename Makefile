# Thin wrapper over CMake for the set-up commands of the README.
BUILD ?= build
JOBS ?= 2
PREFIX ?= /usr/local

.PHONY: configure build slix demo test install clean

configure:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null

# slix and, where GoogleTest is installed, the tests.
build: configure
	cmake --build $(BUILD) -j$(JOBS)

# slix alone, which is all that demo and install need.
slix: configure
	cmake --build $(BUILD) -j$(JOBS) --target slix

# Runs slix on the samples shipped in samples/: a file of INDX records taken
# from a directory, then that directory read from the NTFS volume itself
# (live entries and the slack entries of deleted and renamed files).
demo: slix
	./$(BUILD)/slix -indxfile samples/sample.indx -all -csv
	gzip -dc samples/sample_volume.img.gz > $(BUILD)/sample_volume.img
	./$(BUILD)/slix -image $(BUILD)/sample_volume.img -path '\small' -slack

# Builds and runs every test.
test: build
	@test -f $(BUILD)/tests/CTestTestfile.cmake || { echo "make test needs GoogleTest: apt-get install libgtest-dev"; exit 1; }
	ctest --test-dir $(BUILD) --output-on-failure

# bin/slix and share/man/man1/slix.1 under $(DESTDIR)$(PREFIX).
install: slix
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)"

clean:
	rm -rf $(BUILD)
