// FILETIME conversion: a 64-bit count of 100-nanosecond intervals since
// 1601-01-01 00:00:00 UTC, the form of every NTFS timestamp.  All times are
// UTC; nothing here knows about time zones.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vk {

enum class type_time { filetime };

// Broken-down UTC time, in the field order of the Windows SYSTEMTIME plus
// the sub-millisecond parts a FILETIME carries.
struct _windows_systemtime {
  uint16_t wYear = 0;
  uint16_t wMonth = 0;  // 1-12
  uint16_t wDayOfWeek = 0;  // 0 = Sunday
  uint16_t wDay = 0;  // 1-31
  uint16_t wHour = 0;
  uint16_t wMinute = 0;
  uint16_t wSecond = 0;
  uint16_t wMilliseconds = 0;
  uint64_t microseconds = 0;  // within the second, 0-999999
  uint64_t nanoseconds = 0;  // within the second, 0-999999999, steps of 100
};

// FILETIME of 1970-01-01 00:00:00 UTC.
constexpr uint64_t filetime_unix_epoch = 116444736000000000ULL;
constexpr uint64_t filetime_ticks_per_second = 10000000ULL;

class time {
 public:
  time() = default;
  time(uint64_t raw, type_time kind) { set(raw, kind); }

  // Zero, and values at or above 2^63 (which the Windows calendar conversion
  // refuses), give an invalid time.
  void set(uint64_t raw, type_time kind);

  bool valid() const { return m_valid; }
  uint64_t raw() const { return m_raw; }
  // Seconds since 1970-01-01 UTC; negative for times before 1970.
  int64_t unix_seconds() const { return m_unix_seconds; }
  const _windows_systemtime& systemtime() const { return m_st; }

 private:
  uint64_t m_raw = 0;
  int64_t m_unix_seconds = 0;
  _windows_systemtime m_st;
  bool m_valid = false;
};

// The first FILETIME the Windows calendar conversion refuses.
constexpr uint64_t first_unconvertible_filetime = 0x8000000000000000ULL;

// True when a FILETIME converts to a calendar time: neither zero nor 2^63 or more.
constexpr bool filetime_converts(uint64_t raw) { return raw != 0 && raw < first_unconvertible_filetime; }

// FILETIME of midnight UTC at the start of the given Gregorian date.
uint64_t filetime_from_date(int year, unsigned month, unsigned day);

// Parses a "mm/dd/yyyy" date into its FILETIME; nothing when malformed.
std::optional<uint64_t> parse_mdy_date(std::string_view text);

}  // namespace vk
