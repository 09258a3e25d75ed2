#include "report/hexdump.h"

#include "support/vk_string.h"

namespace {

constexpr size_t bytes_per_line = 16;
constexpr size_t half_line = 8;
// Each byte is two digits and a blank.
constexpr size_t chars_per_byte = 3;
// Room reserved per dumped byte: address, digits and text column together.
constexpr size_t reserve_per_byte = 5;

// Four 16-bit groups of the address, the upper two only when they are
// non-zero; a small bits 32-47 group is written with 1 or 2 digits.
void append_address(std::string& line, uint64_t address) {
  const uint64_t top = address >> 48;
  const uint64_t high = (address >> 32) & 0xFFFF;
  if (top != 0) {
    line += vk::hex(top, 4) + " " + vk::hex(high, 4) + " ";
  } else if (high != 0) {
    const int width = high <= 0xF ? 1 : (high <= 0xFF ? 2 : 4);
    line += vk::hex(high, width) + " ";
  }
  line += vk::hex((address >> 16) & 0xFFFF, 4) + " " + vk::hex(address & 0xFFFF, 4) + ":  ";
}

char printable(uint8_t byte) { return byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.'; }

void append_line(std::string& out, const vk::binary_data& data, size_t first, size_t count, uint64_t address) {
  append_address(out, address);
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    if (i == half_line) out += ' ';
    const uint8_t byte = data[first + i];
    out += vk::hex(byte, 2) + " ";
    text += printable(byte);
  }
  // Keeps the text column of a short last line under the full lines above.
  const size_t missing = bytes_per_line - count;
  out.append(missing * chars_per_byte + (missing >= half_line ? 1 : 0), ' ');
  out += ' ';
  out += text;
  out += '\n';
}

}  // namespace

std::string format_hex_dump(const vk::binary_data& data, uint64_t address_base) {
  const size_t length = data.size();
  if (length > hex_dump_max_length) return "size to big to output: size 0x" + vk::hex(length) + "\n";
  std::string out;
  out.reserve(reserve_per_byte * length + bytes_per_line * reserve_per_byte);
  uint64_t address = address_base;
  for (size_t first = 0; first < length; first += bytes_per_line) {
    const size_t count = length - first < bytes_per_line ? length - first : bytes_per_line;
    append_line(out, data, first, count, address);
    address += bytes_per_line;
  }
  return out;
}
