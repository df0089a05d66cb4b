// The chip event record: what HSL sends for a chip going up or down, and what the agent builds
// itself when it makes a chip from the slot parameters or from a port add.
//
//   offset  width  field
//   0       u32    event: 3 up, 4 down
//   4       u32    slot (low byte used)
//   8       u32    local chip id (low byte used)
//   12      u32    flat chip id
//   16      u32    ifindex (the flat id is derived from it)
//   20      u32    chip type
//   28      u32    chip id from IFM (29 is the only known one)
//   464     u32    IPv4 capability word
//   468     u32    IPv6 capability word
//   484            end of record
//
// The bulk event: u32 chip count at 4, then 468-byte records from 8, each with slot, local chip
// and flat chip as bytes 0, 1, 2 and the ifindex as the word at 4.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

inline constexpr size_t OF_CHIP_EVENT_RECORD_SIZE = 484;
inline constexpr size_t OF_BULK_CHIP_RECORD_SIZE = 468;
inline constexpr size_t OF_BULK_CHIP_FIRST = 8;

inline constexpr uint32_t OF_HSL_EVENT_CHIP_UP = 3;
inline constexpr uint32_t OF_HSL_EVENT_CHIP_DOWN = 4;
inline constexpr uint32_t OF_HSL_EVENT_SLOT_UP = 5;
inline constexpr uint32_t OF_HSL_EVENT_SLOT_DOWN = 6;
inline constexpr uint32_t OF_HSL_EVENT_BULK = 7;

inline constexpr uint32_t OF_IFM_CHIP_ID_KNOWN = 29;

struct of_chip_event_record {
  uint32_t event = 0;
  uint32_t slot = 0;
  uint32_t local_chip_id = 0;
  uint32_t flat_chip_id = 0;
  uint32_t ifindex = 0;
  uint32_t chip_type = 0;
  uint32_t ifm_chip_id = 0;
  uint32_t ipv4_caps = 0;
  uint32_t ipv6_caps = 0;
};

// Writes the 484 bytes (all others zero). False when `out` is shorter.
bool of_chip_event_encode(const of_chip_event_record& rec, std::span<uint8_t> out);
// Reads a record from the first 484 bytes of `in`. False (and `rec` cleared) when shorter.
bool of_chip_event_decode(std::span<const uint8_t> in, of_chip_event_record* rec);

// One chip of a bulk event.
struct of_bulk_chip {
  uint8_t slot = 0;
  uint8_t local_chip_id = 0;
  uint8_t flat_chip_id = 0;
  uint32_t ifindex = 0;
};

// Reads the chips of a bulk event. A count that claims more records than the bytes hold is cut
// to the records present; `*truncated` tells so.
std::vector<of_bulk_chip> of_bulk_chip_decode(std::span<const uint8_t> in, bool* truncated);
// Writes a bulk event (count and records); returns the bytes used, 0 when `out` is too short.
size_t of_bulk_chip_encode(std::span<const of_bulk_chip> chips, std::span<uint8_t> out);
