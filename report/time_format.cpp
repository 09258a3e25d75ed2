#include "report/time_format.h"

#include <array>
#include <optional>
#include <utility>

#include "support/vk_string.h"

namespace {

constexpr uint8_t pair_datetime_bit = 0x01;
constexpr unsigned fraction_shift = 1;
constexpr unsigned max_fraction_digits = 9;
constexpr unsigned default_fraction_digits = 3;

// "yyyy-mm-dd" and "hh:mm:ss.xxx", used when the layout is all zero.
constexpr time_format_spec default_spec{'-', date_flag::month_number | date_flag::year_long | date_flag::order_ymd,
                                        default_fraction_digits << fraction_shift, 0};

constexpr std::array<const char*, 12> month_names{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

char first_separator(const std::string& pattern) {
  for (char candidate : {'/', '-', ' '}) {
    if (pattern.find(candidate) != std::string::npos) return candidate;
  }
  return 0;
}

// Where a date part stands: the long spelling when the pattern has it, else
// the short one; its flag is set.  Nothing when neither is there.
std::optional<size_t> find_part(const std::string& pattern, const char* long_form, uint8_t long_flag,
                                const char* short_form, uint8_t short_flag, uint8_t& flags) {
  for (const auto& [form, flag] : {std::pair{long_form, long_flag}, std::pair{short_form, short_flag}}) {
    const size_t at = pattern.find(form);
    if (at == std::string::npos) continue;
    flags |= flag;
    return at;
  }
  return std::nullopt;
}

// Fills the date part of the layout; false when the pattern lacks a month,
// a year or a day, or orders them in a way no layout knows.
bool parse_date_pattern(time_format_spec& time_layout, const std::string& pattern) {
  time_layout.date_separator = static_cast<uint8_t>(first_separator(pattern));
  const std::optional<size_t> month = find_part(pattern, "mmm", date_flag::month_name, "mm", date_flag::month_number,
                                                time_layout.date_flags);
  const std::optional<size_t> year = find_part(pattern, "yyyy", date_flag::year_long, "yy", date_flag::year_short,
                                               time_layout.date_flags);
  if (!month || !year) return false;
  if (pattern.find(',') != std::string::npos) time_layout.date_flags |= date_flag::has_comma;
  const size_t day = pattern.find("dd");
  if (day == std::string::npos) return false;
  if (day < *month && *month < *year) {
    time_layout.date_flags |= date_flag::order_dmy;
  } else if (*month < day && day < *year) {
    time_layout.date_flags |= date_flag::order_mdy;
  } else if (*year < *month && *month < day) {
    time_layout.date_flags |= date_flag::order_ymd;
  } else {
    return false;
  }
  return true;
}

// The fraction runs from the first "xxx" to the last "x" of the pattern.
unsigned fraction_digits_of(const std::string& pattern) {
  const size_t first = pattern.find("xxx");
  if (first == std::string::npos) return 0;
  const size_t count = pattern.rfind('x') - first + 1;
  return count > max_fraction_digits ? max_fraction_digits : static_cast<unsigned>(count);
}

// Appends the date; nothing for a layout that gives no date.
void render_date(std::string& out, const vk::_windows_systemtime& st, const time_format_spec& time_layout) {
  // A zero separator is written as a NUL character all the same.
  const char sep = static_cast<char>(time_layout.date_separator);
  // The year keeps all its digits even with "yy".
  const int year_width = (time_layout.date_flags & date_flag::year_long) ? 4 : 2;
  const bool numeric = (time_layout.date_flags & date_flag::month_number) != 0;
  if (!numeric && (!(time_layout.date_flags & date_flag::month_name) || st.wMonth < 1 || st.wMonth > 12)) return;
  const auto month = [&] {
    if (numeric) {
      vk::append_dec(out, st.wMonth, 2);
    } else {
      out += month_names[st.wMonth - 1];
    }
  };
  if (time_layout.date_flags & date_flag::order_mdy) {
    month();
    out += sep;
    vk::append_dec(out, st.wDay, 2);
    out += sep;
    vk::append_dec(out, st.wYear, year_width);
  } else if (time_layout.date_flags & date_flag::order_dmy) {
    vk::append_dec(out, st.wDay, 2);
    out += sep;
    month();
    out += sep;
    vk::append_dec(out, st.wYear, year_width);
  } else if ((time_layout.date_flags & date_flag::order_ymd) && numeric) {
    vk::append_dec(out, st.wYear, year_width);
    out += sep;
    month();
    out += sep;
    vk::append_dec(out, st.wDay, 2);
  }
}

constexpr uint64_t seconds_per_day = 86400;

// Two decimal digits of `value` (below 100) at `out`.
void put_two_digits(char* out, uint64_t value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
}

uint64_t power_of_ten(unsigned exponent) {
  uint64_t value = 1;
  while (exponent-- > 0) value *= 10;
  return value;
}

// The fraction is cut to n digits, never rounded: up to six digits come from
// the microseconds, more from the nanoseconds.
void render_fraction(std::string& out, const vk::_windows_systemtime& st, unsigned digits) {
  if (digits == 0) return;
  if (digits > max_fraction_digits) digits = max_fraction_digits;
  uint64_t value = 0;
  if (digits == 3)
    value = st.wMilliseconds;
  else if (digits <= 6)
    value = st.microseconds / power_of_ten(6 - digits);
  else
    value = st.nanoseconds / power_of_ten(9 - digits);
  out += '.';
  vk::append_dec(out, value, static_cast<int>(digits));
}

void render_seconds_clock(std::string& out, const vk::_windows_systemtime& st) {
  vk::append_dec(out, st.wHour, 2);
  out += ':';
  vk::append_dec(out, st.wMinute, 2);
  out += ':';
  vk::append_dec(out, st.wSecond, 2);
}

void render_clock(std::string& out, const vk::_windows_systemtime& st, const time_format_spec& time_layout) {
  render_seconds_clock(out, st);
  render_fraction(out, st, time_layout.fraction_digits());
}

}  // namespace

bool build_time_format_spec(time_format_spec& time_layout, const std::string& date_pattern,
                            const std::string& time_pattern, bool pair_datetime) {
  time_layout = time_format_spec{};
  if (pair_datetime) time_layout.time_flags |= pair_datetime_bit;
  if (!date_pattern.empty() && !parse_date_pattern(time_layout, date_pattern)) return false;
  if (!time_pattern.empty())
    time_layout.time_flags |= static_cast<uint8_t>(fraction_digits_of(time_pattern) << fraction_shift);
  return true;
}

bool render_time(const vk::time& value, const time_format_spec& time_layout, std::string& date, std::string& time) {
  date.clear();
  time.clear();
  if (!value.valid()) return false;
  const time_format_spec& layout = time_layout.is_default() ? default_spec : time_layout;
  render_date(date, value.systemtime(), layout);
  render_clock(time, value.systemtime(), layout);
  return true;
}

bool render_filetime(uint64_t filetime, const time_format_spec& time_layout, std::string& date, std::string& time) {
  return render_time(vk::time(filetime, vk::type_time::filetime), time_layout, date, time);
}

time_renderer::time_renderer(const time_format_spec& time_layout)
    : m_layout(time_layout.is_default() ? default_spec : time_layout),
      m_fraction_digits(std::min(m_layout.fraction_digits(), max_fraction_digits)) {}

std::string_view time_renderer::date_of(uint64_t filetime) {
  const uint64_t day = filetime / vk::filetime_ticks_per_second / seconds_per_day;
  for (const day_text& recent : m_recent_days)
    if (recent.day == day) return recent.date;
  day_text& slot = m_recent_days[m_next_slot];
  m_next_slot = (m_next_slot + 1) % m_recent_days.size();
  slot.day = day;
  slot.date.clear();
  render_date(slot.date, vk::time(filetime, vk::type_time::filetime).systemtime(), m_layout);
  return slot.date;
}

bool time_renderer::render(uint64_t filetime) {
  // The four times of an entry are often one value.
  if (m_filetime == filetime) return !m_time.empty();
  m_filetime = filetime;
  m_date = {};
  m_time.clear();
  if (!vk::filetime_converts(filetime)) return false;
  m_date = date_of(filetime);
  const uint64_t second_of_day = filetime / vk::filetime_ticks_per_second % seconds_per_day;
  // hh:mm:ss, then "." and the fraction cut to its digits.
  std::array<char, 8 + 1 + max_fraction_digits> text{};
  put_two_digits(&text[0], second_of_day / 3600);
  text[2] = ':';
  put_two_digits(&text[3], second_of_day / 60 % 60);
  text[5] = ':';
  put_two_digits(&text[6], second_of_day % 60);
  size_t length = 8;
  if (m_fraction_digits != 0) {
    text[length++] = '.';
    // The remainder counts 100 ns ticks, seven digits; more digits append
    // zeros (nanoseconds), fewer cut.
    const uint64_t nanoseconds = filetime % vk::filetime_ticks_per_second * 100;
    uint64_t value = nanoseconds / power_of_ten(max_fraction_digits - m_fraction_digits);
    for (size_t i = m_fraction_digits; i-- > 0; value /= 10) text[length + i] = static_cast<char>('0' + value % 10);
    length += m_fraction_digits;
  }
  m_time.assign(text.data(), length);
  return true;
}
