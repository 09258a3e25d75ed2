#include "support/vk_time.h"

#include <charconv>

namespace vk {
namespace {

constexpr int64_t seconds_per_day = 86400;
// Seconds from 1601-01-01 to 1970-01-01.
constexpr int64_t epoch_gap_seconds = 11644473600LL;

// Days since 1970-01-01 of a proleptic Gregorian date (H. Hinnant's algorithm).
int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void civil_from_days(int64_t z, int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<int64_t>(yoe) + era * 400 + (m <= 2);
}

int64_t floor_div(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

}  // namespace

void time::set(uint64_t raw, type_time) {
  *this = time();
  m_raw = raw;
  if (!filetime_converts(raw)) return;
  const uint64_t remainder = raw % filetime_ticks_per_second;
  m_unix_seconds = static_cast<int64_t>(raw / filetime_ticks_per_second) - epoch_gap_seconds;
  const int64_t days = floor_div(m_unix_seconds, seconds_per_day);
  const int64_t secs_of_day = m_unix_seconds - days * seconds_per_day;
  int64_t year = 0;
  unsigned month = 0, day = 0;
  civil_from_days(days, year, month, day);
  m_st.wYear = static_cast<uint16_t>(year);
  m_st.wMonth = static_cast<uint16_t>(month);
  m_st.wDay = static_cast<uint16_t>(day);
  // 1970-01-01 was a Thursday (4).
  m_st.wDayOfWeek = static_cast<uint16_t>(((days % 7) + 7 + 4) % 7);
  m_st.wHour = static_cast<uint16_t>(secs_of_day / 3600);
  m_st.wMinute = static_cast<uint16_t>(secs_of_day / 60 % 60);
  m_st.wSecond = static_cast<uint16_t>(secs_of_day % 60);
  m_st.wMilliseconds = static_cast<uint16_t>(remainder / 10000);
  m_st.microseconds = remainder / 10;
  m_st.nanoseconds = remainder * 100;
  m_valid = true;
}

uint64_t filetime_from_date(int year, unsigned month, unsigned day) {
  const int64_t seconds = days_from_civil(year, month, day) * seconds_per_day + epoch_gap_seconds;
  return static_cast<uint64_t>(seconds) * filetime_ticks_per_second;
}

std::optional<uint64_t> parse_mdy_date(std::string_view text) {
  if (text.size() != 10 || text[2] != '/' || text[5] != '/') return std::nullopt;
  unsigned month = 0, day = 0;
  int year = 0;
  auto number = [&](size_t pos, size_t len, auto& out) {
    const char* first = text.data() + pos;
    const auto result = std::from_chars(first, first + len, out);
    return result.ec == std::errc() && result.ptr == first + len;
  };
  if (!number(0, 2, month) || !number(3, 2, day) || !number(6, 4, year)) return std::nullopt;
  if (month < 1 || month > 12 || day < 1 || day > 31 || year < 1601) return std::nullopt;
  return filetime_from_date(year, month, day);
}

}  // namespace vk
