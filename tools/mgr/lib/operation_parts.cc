#include "operation_parts.h"

namespace ofa::mgr::detail {

using syntax::KeyValue;
using syntax::set_number;

Err set_id(uint32_t& field, std::string_view v, std::string_view what) {
  if (syntax::same_word(v, "all")) {
    field = kAllIds;
    return std::nullopt;
  }
  return set_number(field, v, 0xffffffff, what);
}

Result<uint16_t> verb(std::span<const std::string> words, std::string_view op,
                      std::initializer_list<std::pair<std::string_view, uint16_t>> verbs) {
  std::string names;
  for (const auto& [w, s] : verbs) {
    if (!words.empty() && words[0] == w) return s;
    names += (names.empty() ? "" : ", ") + std::string(w);
  }
  if (words.empty())
    return Result<uint16_t>::fail(std::string(op) + ": what to do? (" + names + ")");
  return Result<uint16_t>::fail(std::string(op) + ": unknown operation '" + words[0] + "' (" +
                                names + ")");
}

Err fields(std::span<const std::string> words, std::string_view op, const FieldFn& field) {
  for (const auto& w : words) {
    auto kv = syntax::split_key(w);
    auto r = field(kv);
    if (!r) return std::string(op) + ": unknown field '" + kv.key + "'";
    if (*r) return *r;
  }
  return std::nullopt;
}

Err require(std::span<const std::string> words, std::string_view op,
            std::initializer_list<std::string_view> keys) {
  for (auto key : keys) {
    bool found = false;
    for (const auto& w : words)
      found |= syntax::split_key(w).key == key;
    if (!found) return std::string(op) + " needs " + std::string(key) + "=";
  }
  return std::nullopt;
}

Result<Message> fail(std::string s) {
  return Result<Message>::fail(std::move(s));
}

}  // namespace ofa::mgr::detail
