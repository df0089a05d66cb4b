// Small readers shared by the scenario syntax: tokens, numbers, addresses, port lists,
// durations. Each returns a Result whose error text names the offending word.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "codec.h"
#include "common/numbers.h"
#include "messages.h"

namespace ofa::mgr::syntax {

// A line split at blanks. Double quotes group words (and are removed, \" and \\ escape inside);
// '#' outside quotes starts a comment.
Result<std::vector<std::string>> tokenize(std::string_view line);

// "key=value" split at the first '='; a word without '=' has an empty value and has_value false.
struct KeyValue {
  std::string key;
  std::string value;
  bool has_value = false;
};
KeyValue split_key(std::string_view word);

// Splits at a separator, keeping empty pieces out.
std::vector<std::string> split(std::string_view s, char sep);

using tools::duration;
using tools::number;
// Reads a number into `field`; the error text, or nothing.
template <class T>
std::optional<std::string> set_number(T& field, std::string_view s, uint64_t max,
                                      std::string_view what) {
  auto r = number(s, max, what);
  if (!r.ok()) return r.error();
  field = static_cast<T>(r.value());
  return std::nullopt;
}
Result<Mac> mac(std::string_view s, std::string_view what);
// a.b.c.d, optionally /prefix-length or /a.b.c.d mask; the mask defaults to /32.
struct Ipv4 {
  uint32_t address = 0;
  uint32_t mask = 0xffffffff;
};
Result<Ipv4> ipv4(std::string_view s, std::string_view what);
// "3", "3,5", "1-4,9": ids 0 to `max`, at most 65536 of them.
Result<std::vector<uint32_t>> id_list(std::string_view s, uint64_t max, std::string_view what);
// The same for port ids 0 to 288.
Result<std::vector<uint32_t>> port_list(std::string_view s, std::string_view what);
// Hex bytes, blanks and ':' allowed between pairs.
Result<Bytes> hex_bytes(std::string_view s);

// Case-insensitive comparison of ASCII words.
bool same_word(std::string_view a, std::string_view b);

}  // namespace ofa::mgr::syntax
