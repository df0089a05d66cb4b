// Expected bytes written as hex: "0A0B 0C" (spaces ignored), and sparse records "offset: hex |
// offset: hex ..." where every byte not named is zero.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace ofa::test {

inline std::vector<uint8_t> hex(std::string_view digits) {
  std::vector<uint8_t> out;
  std::string d(digits);
  std::erase(d, ' ');
  for (size_t i = 0; i + 1 < d.size(); i += 2)
    out.push_back(static_cast<uint8_t>(std::stoul(d.substr(i, 2), nullptr, 16)));
  return out;
}

// `extent` bytes, zero but for the groups of `text`; a group past the end throws.
inline std::vector<uint8_t> sparse(size_t extent, std::string_view text) {
  std::vector<uint8_t> out(extent, 0);
  std::stringstream groups{std::string(text)};
  for (std::string group; std::getline(groups, group, '|');) {
    size_t at = std::stoul(group);  // the digits in front of the colon
    for (uint8_t b : hex(group.substr(group.find(':') + 1)))
      out.at(at++) = b;
  }
  return out;
}

}  // namespace ofa::test
