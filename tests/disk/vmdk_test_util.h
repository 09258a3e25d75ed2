// Helpers of the VMDK tests: unpacking fixtures, reading a whole disk object
// and capturing what the opening code prints on standard error.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"
#include "app/volume_source.h"
#include "disk/vmdk.h"
#include "test_support.h"

namespace vmdk_test {

// Decompresses tests/fixtures/vmdk/<name>.gz into dir/<name> for each name.
inline bool unpack(const slix_test::temp_dir& dir, const std::vector<std::string>& names) {
  for (const std::string& name : names)
    if (!slix_test::gunzip(slix_test::fixture("vmdk/" + name + ".gz"), dir.file(name))) return false;
  return true;
}

// Reads the whole disk in pieces of `step` bytes (an odd step makes reads
// start and end inside grains).
inline std::vector<uint8_t> read_all(disk& source, size_t step) {
  std::vector<uint8_t> bytes(source.size());
  for (uint64_t at = 0; at < bytes.size(); at += step) {
    const size_t length = static_cast<size_t>(std::min<uint64_t>(step, bytes.size() - at));
    if (source.read(at, std::span<uint8_t>(bytes).subspan(at, length)) != length) return {};
  }
  return bytes;
}

inline std::vector<uint8_t> read_at(disk& source, uint64_t offset, size_t length) {
  std::vector<uint8_t> bytes(length);
  bytes.resize(source.read(offset, bytes));
  return bytes;
}

// Runs `body` with file descriptor 2 redirected, and returns what it wrote.
inline std::string capture_stderr(const std::function<void()>& body) {
  std::fflush(stderr);
  std::FILE* sink = std::tmpfile();
  const int saved = ::dup(2);
  ::dup2(::fileno(sink), 2);
  body();
  ::dup2(saved, 2);
  ::close(saved);
  std::string text;
  std::rewind(sink);
  for (int c; (c = std::fgetc(sink)) != EOF;) text.push_back(static_cast<char>(c));
  std::fclose(sink);
  return text;
}

// Opens a collection, returning the disk (or nullptr) and the messages.
struct opened {
  std::unique_ptr<disk> source;
  std::string messages;
};

inline opened open_collection(const std::string& list) {
  vmdk_opening opening = open_vmdk_source(list);
  return {std::move(opening.source), vmdk_fault_lines(opening.fault)};
}

}  // namespace vmdk_test
