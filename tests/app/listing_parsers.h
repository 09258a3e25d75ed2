// Parsers of slix text reports and of The Sleuth Kit's fls listings, for the
// tests that compare the two.
#pragma once

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace slix_test {

struct reported_entry {
  std::string name;  // full name: directory path and entry name
  std::string entry_line;  // "valid", or "slack, <annotation>"
  bool valid() const { return entry_line == "valid"; }
};

inline std::vector<reported_entry> text_blocks(const std::string& report) {
  std::vector<reported_entry> entries;
  std::istringstream in(report);
  const std::string name_label = "Name:                 ", entry_label = "Entry:                ";
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(name_label, 0) == 0) entries.push_back({line.substr(name_label.size()), ""});
    if (line.rfind(entry_label, 0) == 0 && !entries.empty()) entries.back().entry_line = line.substr(entry_label.size());
  }
  return entries;
}

// fls shows control characters in names as '^'; slix writes them as "\xHH".
inline std::string as_fls_shows(const std::string& name) {
  std::string shown;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name.compare(i, 2, "\\x") == 0 && i + 4 <= name.size() && name.compare(i, 4, "\\x5c") != 0) {
      shown += '^';
      i += 3;
    } else {
      shown += name[i];
    }
  }
  return shown;
}

// The live names of an fls listing ("r/r 291-128-2:<TAB>name"): deleted files
// carry " * ", virtual entries ($OrphanFiles) are "V/V", and named streams
// are listed as "name:stream" beside the file itself.
inline std::set<std::string> live_names_in_fls_listing(const std::string& listing) {
  std::set<std::string> names;
  std::istringstream in(listing);
  for (std::string line; std::getline(in, line);) {
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || line.find(" * ") < tab || line.rfind("V/V", 0) == 0) continue;
    std::string name = line.substr(tab + 1);
    const size_t slash = name.rfind('/');
    const size_t colon = name.find(':', slash == std::string::npos ? 0 : slash);
    names.insert(name.substr(0, colon));
  }
  return names;
}

}  // namespace slix_test
