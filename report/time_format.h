// Date and time layouts chosen with -dateformat, -timeformat and
// -pair_datetime, and the rendering of a converted FILETIME with them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/vk_time.h"

// The parsed layout, four bytes.  All zero means the default layout,
// "yyyy-mm-dd" and "hh:mm:ss.xxx".
struct time_format_spec {
  uint8_t date_separator = 0;
  uint8_t date_flags = 0;
  uint8_t time_flags = 0;  // bit 0: pair date and time; bits 1-4: fraction digits
  uint8_t reserved = 0;

  bool is_default() const { return date_separator == 0 && date_flags == 0 && time_flags == 0 && reserved == 0; }
  bool pair_datetime() const { return (time_flags & 0x01) != 0; }
  unsigned fraction_digits() const { return (time_flags >> 1) & 0x0F; }
};

namespace date_flag {
constexpr uint8_t month_name = 0x01;  // "mmm"
constexpr uint8_t month_number = 0x02;  // "mm"
constexpr uint8_t year_long = 0x04;  // "yyyy"
constexpr uint8_t year_short = 0x08;  // "yy"
constexpr uint8_t has_comma = 0x10;
constexpr uint8_t order_dmy = 0x20;
constexpr uint8_t order_mdy = 0x40;
constexpr uint8_t order_ymd = 0x80;
}  // namespace date_flag

// Builds the layout from the (lower-cased) patterns; false when a pattern
// could not be understood, leaving the flags built so far.
bool build_time_format_spec(time_format_spec& time_layout, const std::string& date_pattern,
                            const std::string& time_pattern, bool pair_datetime);

// Renders a time into separate date and time strings; both stay empty for an
// invalid time.  Returns true when something was rendered.
bool render_time(const vk::time& value, const time_format_spec& time_layout, std::string& date, std::string& time);

// Shorthand for a raw FILETIME.
bool render_filetime(uint64_t filetime, const time_format_spec& time_layout, std::string& date, std::string& time);

// Renders FILETIMEs with one layout for the report's rows, giving the same
// text as render_filetime.  The calendar conversion is the costly part and
// the times of a directory mostly fall on a few days, so the date texts of
// the last few days rendered are kept; the clock is worked out from the
// second of the day.
class time_renderer {
 public:
  explicit time_renderer(const time_format_spec& time_layout);

  // Renders `filetime`; false, with both views empty, for a time that does
  // not convert.  The views stay valid until the next call.
  bool render(uint64_t filetime);
  std::string_view date() const { return m_date; }
  std::string_view time() const { return m_time; }

 private:
  struct day_text {
    uint64_t day = UINT64_MAX;  // days since 1601-01-01
    std::string date;
  };

  std::string_view date_of(uint64_t filetime);

  time_format_spec m_layout;
  unsigned m_fraction_digits;
  std::array<day_text, 4> m_recent_days;
  size_t m_next_slot = 0;
  std::optional<uint64_t> m_filetime;  // the value the views show
  std::string_view m_date;
  std::string m_time;
};
