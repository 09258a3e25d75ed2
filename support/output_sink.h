// Buffered report output to standard output or a results file.  Text is
// gathered in a large buffer and written with few system calls; nothing is
// flushed per line.
#pragma once

#include <string>
#include <string_view>

namespace vk {

class output_sink {
 public:
  // Writes to an already open descriptor (standard output by default); the
  // sink closes it only when `owns` is set.
  explicit output_sink(int fd = 1, bool owns = false);
  ~output_sink();
  output_sink(const output_sink&) = delete;
  output_sink& operator=(const output_sink&) = delete;

  // Opens a results file for writing, truncating or appending; -1 on failure.
  static int open_results_file(const std::string& name, bool append);

  void write(std::string_view text);
  output_sink& operator<<(std::string_view text) {
    write(text);
    return *this;
  }
  void flush();
  // False once a write to the descriptor has failed (a full disk, a closed pipe).
  bool good() const { return m_good; }

 private:
  static constexpr size_t flush_threshold = 1 << 16;
  int m_fd;
  bool m_owns;
  bool m_good = true;
  std::string m_buffer;
};

}  // namespace vk
