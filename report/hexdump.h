// Hexadecimal dump of raw bytes: 16 bytes a line, each line labelled with
// its address, followed by a column of the printable characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/le_reader.h"

// Lengths above this are refused with a one-line message instead of a dump.
constexpr size_t hex_dump_max_length = 0x1000000;

// Builds the dump lines of all of `data`; the first line is labelled
// `address_base`, each further line 16 more.
std::string format_hex_dump(const vk::binary_data& data, uint64_t address_base);
