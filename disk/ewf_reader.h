// slix's own reader of EWF-E01 segment sets: the section chain of every
// segment, the chunk tables, and the chunks themselves, inflated and
// checksummed through libdeflate.  It reads only what it can validate whole
// (ewf_format.h): a set it does not fully understand is refused with the
// reason, and the caller hands it to libewf; so is a chunk whose bytes it
// cannot trust when read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "disk/container.h"
#include "disk/disk.h"

// False when slix was built without libdeflate: libewf reads every set.
bool ewf_reader_built();

class ewf_reader {
 public:
  // Opens the set whose segment files are `segments`, in set order; they
  // must outlive the reader.  Null, with `refusal` saying why, when the set
  // is not one this reader validates whole (EWF2, an unknown section, a
  // checksum that does not match, a table out of order, slix built without
  // libdeflate).
  static std::unique_ptr<ewf_reader> open(std::span<disk* const> segments, std::string& refusal);
  virtual ~ewf_reader() = default;

  virtual uint64_t size() const = 0;  // the media's bytes
  virtual uint64_t chunk_size() const = 0;
  virtual uint64_t chunk_count() const = 0;
  // The media bytes chunk `index` holds: chunk_size(), less for the last.
  uint64_t chunk_bytes(uint64_t index) const {
    return index + 1 < chunk_count() ? chunk_size() : size() - (chunk_count() - 1) * chunk_size();
  }
  // Reads chunk `index` whole into `out` (chunk_bytes(index) long); false
  // when its bytes cannot be trusted: a stream that does not inflate to the
  // chunk's size or fails its checksum, a stored chunk of the wrong size or
  // checksum, a short read.
  virtual bool read_chunk(uint64_t index, std::span<uint8_t> out) = 0;
  // Reads `out` from `in_chunk` bytes into chunk `index`, straight from its
  // file, when the chunk is stored as it is and read_chunk has checked it
  // whole before; false otherwise (nothing read).  Records and index blocks
  // read again after the scan then cost only their own bytes.
  virtual bool read_checked_part(uint64_t index, uint64_t in_chunk, std::span<uint8_t> out) = 0;
};

// Who reads an E01 set: slix's reader with libewf behind it for what the
// reader refuses (the default), or one of them alone (the differential test
// and the fuzz target compare the two).  `slix` alone refuses a set its
// reader refuses and fails the read of a chunk it cannot trust.
enum class ewf_engine { automatic, libewf, slix };

container_opening open_ewf_image_with(const std::string& path, ewf_engine engine);
