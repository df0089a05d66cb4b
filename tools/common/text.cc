#include "common/text.h"

#include <cstdio>

namespace ofa::tools {

std::string mac_text(std::span<const uint8_t, 6> m) {
  char buf[18];
  std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", m[0], m[1], m[2], m[3], m[4],
                m[5]);
  return buf;
}

std::string ip_text(uint32_t ip) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", ip >> 24, (ip >> 16) & 0xff, (ip >> 8) & 0xff,
                ip & 0xff);
  return buf;
}

}  // namespace ofa::tools
