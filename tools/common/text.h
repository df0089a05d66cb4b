// Texts of addresses as both tools print them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace ofa::tools {

// "aa:bb:cc:dd:ee:ff"
std::string mac_text(std::span<const uint8_t, 6> mac);
// "10.0.0.1"
std::string ip_text(uint32_t ip);

}  // namespace ofa::tools
