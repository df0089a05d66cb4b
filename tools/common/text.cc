#include "common/text.h"

#include <cstdio>

namespace ofa::tools {

std::string mac_text(std::span<const uint8_t, 6> m) {
  char buf[18];
  std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4],
                m[5]);
  return buf;
}

std::optional<std::array<uint8_t, 6>> mac_parse(std::string_view s) {
  auto digit = [](char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
  };
  std::array<uint8_t, 6> m{};
  if (s.size() != 17) return std::nullopt;
  for (size_t i = 0; i < 6; ++i) {
    int hi = digit(s[3 * i]), lo = digit(s[3 * i + 1]);
    if (hi < 0 || lo < 0 || (i < 5 && s[3 * i + 2] != ':')) return std::nullopt;
    m[i] = static_cast<uint8_t>(hi * 16 + lo);
  }
  return m;
}

std::string ip_text(uint32_t ip) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", ip >> 24, (ip >> 16) & 0xff, (ip >> 8) & 0xff,
                ip & 0xff);
  return buf;
}

}  // namespace ofa::tools
