#include "table.h"

#include <string_view>
#include <vector>

#include "common/json.h"

namespace ofa::ofactl {
namespace {

// The fields of a line: runs of text separated by two blanks or more.
std::vector<std::string> fields(std::string_view line) {
  std::vector<std::string> out;
  size_t at = line.find_first_not_of(' ');
  while (at != std::string_view::npos) {
    size_t end = line.find("  ", at);
    std::string_view f = line.substr(at, end == std::string_view::npos ? end : end - at);
    while (!f.empty() && f.back() == ' ')
      f.remove_suffix(1);
    out.emplace_back(f);
    at = end == std::string_view::npos ? end : line.find_first_not_of(' ', end);
  }
  return out;
}

// Digits, with at most one '.' between digits.
bool is_number(std::string_view s) {
  if (s.empty() || s.front() == '.' || s.back() == '.') return false;
  bool dot = false;
  for (char c : s) {
    if (c == '.' && !dot) {
      dot = true;
    } else if (c < '0' || c > '9') {
      return false;
    }
  }
  return s.size() == 1 || s.front() != '0' || s[1] == '.';
}

}  // namespace

std::variant<std::string, TableError> table_json(const std::string& text) {
  std::vector<std::string_view> lines;
  std::string_view rest = text;
  while (!rest.empty()) {
    size_t nl = rest.find('\n');
    std::string_view line = rest.substr(0, nl);
    if (!line.empty()) lines.push_back(line);
    rest = nl == std::string_view::npos ? std::string_view{} : rest.substr(nl + 1);
  }
  if (lines.empty()) return TableError{"the answer is empty"};
  std::vector<std::string> keys = fields(lines[0]);
  for (std::string& k : keys) {
    for (char& c : k) {
      if (c == ' ') c = '_';
    }
  }
  std::string out;
  for (size_t i = 1; i < lines.size(); ++i) {
    std::vector<std::string> f = fields(lines[i]);
    if (f.size() != keys.size()) {
      return TableError{"line " + std::to_string(i + 1) + " of the answer cannot be read: \"" +
                        std::string(lines[i]) + "\""};
    }
    tools::JsonWriter j;
    j.begin_object();
    for (size_t c = 0; c < f.size(); ++c) {
      j.key(keys[c]);
      if (is_number(f[c])) {
        j.raw(f[c]);
      } else {
        j.value(f[c]);
      }
    }
    j.end_object();
    out += j.str();
    out += '\n';
  }
  return out;
}

}  // namespace ofa::ofactl
