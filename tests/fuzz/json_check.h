// The strict JSON check of what the tools print for programs.
#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace ofa::fuzz {

// JSON text as RFC 8259 has it: one value, strings of well-formed UTF-8 with every control
// character escaped, nothing after the value.
inline bool valid_json(std::string_view s) {
  return nlohmann::json::accept(s);
}

}  // namespace ofa::fuzz
