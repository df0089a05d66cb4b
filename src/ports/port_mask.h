// Port masks: a bit set over port ids 0 to 288, carried in configuration messages as 680 bytes of
// big-endian words. Port n is bit (n % 289) % 32 of word (n / 289) * 5 + (n % 289) / 32; for the
// ports in use that is word n / 32. 65535 is the iterators' "no port".
//
// The port's kind as the flow engine and the catch-alls see it.
#pragma once

#include <array>
#include <cstdint>
#include <span>

inline constexpr uint32_t OF_PORT_MASK_BYTES = 680;
inline constexpr uint32_t OF_PORT_MASK_WORDS = OF_PORT_MASK_BYTES / 4;
inline constexpr uint16_t OF_PORT_MASK_END = 65535;

struct of_port_mask {
  std::array<uint32_t, OF_PORT_MASK_WORDS> words{};
};

// The mask of a message: the first 680 bytes of `bytes`; a shorter span leaves the rest empty.
of_port_mask port_mask_from_wire(std::span<const uint8_t> bytes);
void set_mask_bit(of_port_mask* mask, uint32_t port);
void clear_mask_bit(of_port_mask* mask, uint32_t port);
// Nonzero when the bit is set: the bit itself, not 1.
uint32_t is_member(const of_port_mask* mask, uint32_t port);
// The lowest member, or 65535.
uint16_t port_mask_get_first_port(const of_port_mask* mask);
// The next member above `prev`, or 65535; 65535 starts at port 0.
uint16_t port_mask_get_next_port(const of_port_mask* mask, uint16_t prev);

// Kinds of a port for flows and catch-alls.
inline constexpr int OF_PORT_TYPE_L2 = 0;  // also a port that is not OpenFlow
inline constexpr int OF_PORT_TYPE_L3 = 1;
inline constexpr int OF_PORT_TYPE_L23 = 2;

// 0 for a port that is not physical or has no entry, 2 when of_hybrid is set, 1 when of_l3_type
// is, else 0.
int port_is_openflow_type(uint16_t port_id);
// of_enabled; 0 for a port that is not physical, and with "Error: Invalid port ptr:
// port_id=%d!!\n" for a physical port without an entry.
int port_is_openflow_port(uint16_t port_id);
// A port id below the platform's number of physical ports (which counts port 0), at most 288.
bool is_physical_port(uint16_t port_id);
