// JSON text (RFC 8259) from the evidence's strings and numbers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Appends `text` as a JSON string, quotes included.  `"` and `\` are escaped;
// every control character (U+0000 to U+001F, DEL) and every hidden character
// (vk::is_hidden_character: C1 controls, zero-width, bidirectional and line
// or paragraph separators) is written \uXXXX, so no control character
// reaches the output raw, a line stays one line for every reader, and no
// name is shown reordered or with hidden parts.  A byte sequence that is not
// well-formed UTF-8 (a command-line argument, a file name read from -pipe)
// becomes U+FFFD, one for each maximal ill-formed part, so the text is valid
// UTF-8 and valid JSON whatever bytes it was given.
void append_json_string(std::string& out, std::string_view text);
// The same without the quotes.  Text cut after an ASCII byte escapes as its
// two parts do, one after the other.
void append_json_characters(std::string& out, std::string_view text);

// One JSON object on one line, appended to a buffer the caller keeps, its
// members in the order they are added.
class json_object {
 public:
  explicit json_object(std::string& out) : m_text(out) { m_text += '{'; }

  json_object& text(std::string_view key, std::string_view value);
  // A string member whose value is slix's own wording (a label, a time):
  // printable ASCII without quotes or backslashes, so it goes in unescaped.
  json_object& word(std::string_view key, std::string_view value);
  // A string member already escaped by append_json_string, quotes included.
  json_object& json_string(std::string_view key, std::string_view quoted);
  json_object& number(std::string_view key, uint64_t value);
  json_object& signed_number(std::string_view key, int64_t value);
  json_object& boolean(std::string_view key, bool value);
  json_object& null(std::string_view key);
  // Appends the closing brace and a line feed.
  void finish() { m_text += "}\n"; }

 private:
  void key(std::string_view name);
  std::string& m_text;
  bool m_first = true;
};
