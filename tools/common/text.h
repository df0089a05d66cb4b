// Texts of addresses as both tools print them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ofa::tools {

// "aa:bb:cc:dd:ee:ff"
std::string mac_text(std::span<const uint8_t, 6> mac);
// The six bytes of "aa:bb:cc:dd:ee:ff" (two hex digits each, either case), or nothing.
std::optional<std::array<uint8_t, 6>> mac_parse(std::string_view s);
// "10.0.0.1"
std::string ip_text(uint32_t ip);

}  // namespace ofa::tools
