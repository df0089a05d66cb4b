// The platform file: a small text description of one switch, read by the agent, the chip
// simulator and the manager tool through this one parser.
//
//   # comment
//   [switch]
//   model = 131             # sysconModel
//   hw_profile = 7          # platsys_get_hwprofile (7 is the OpenFlow profile)
//   route_profile = 0       # platsys_get_profile
//   l2_tcam_size = 2048     # TCAM size of table 10
//   l3_tcam_size = 2048     # TCAM size of table 23
//   my_slot = 1             # this LP's slot (OFA_SLOT overrides)
//   boot = cold             # cold | warm (OFA_BOOT overrides)
//
//   [resources]             # words of the resource record, by name
//   limit_52 = 0, limit_56 = 0, mgid_start, mgid_end, iivid_min, iivid_max,
//   policer_start, policer_end
//
//   [ports]
//   count = 48              # ip_get_number_of_phy_ports
//   name_format = ethernet{slot}/{port}   # default name of port n
//   name.5 = uplink5        # one port's own name
//
//   [slot 1]                # one section per slot that exists (0 to 9)
//   chip.0.type = 1         # chip with local id 0 and its type word
//   chip.0.ports = 1-24,30  # front-panel ports it serves
//
// The chips of all slots form the switch's chip table, at most 96 chips. A chip's flat id is its
// place in that table: numbered from 0, slots ascending, then local ids ascending.
//
// Errors name the place: "file:line: reason".
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ofa::platform {

enum class BootMode { cold, warm };

struct ChipDesc {
  uint32_t local_id = 0;
  uint32_t type = 0;
  std::vector<uint32_t> ports;  // front-panel port numbers served by the chip, ascending
};

struct SlotDesc {
  uint32_t slot = 0;
  std::vector<ChipDesc> chips;  // ascending local id
};

// Words of the platform's resource record that the agent reads, by their byte offset.
struct ResourceWords {
  uint32_t limit_52 = 0;
  uint32_t limit_56 = 0;
  uint32_t mgid_start = 0;     // byte 96
  uint32_t mgid_end = 0;       // byte 100
  uint32_t iivid_min = 0;      // byte 104
  uint32_t iivid_max = 0;      // byte 108
  uint32_t policer_start = 0;  // byte 112
  uint32_t policer_end = 0;    // byte 116
};

struct Platform {
  std::string source;  // file name, or "<default>"
  uint32_t model = 0;
  uint32_t hw_profile = 0;
  uint32_t route_profile = 0;
  uint32_t l2_tcam_size = 0;
  uint32_t l3_tcam_size = 0;
  uint32_t my_slot = 0;
  BootMode boot = BootMode::cold;
  ResourceWords resources;
  uint32_t phy_ports = 0;
  std::string name_format = "ethernet{slot}/{port}";
  std::map<uint32_t, std::string> port_names;  // explicit names only
  std::vector<SlotDesc> slots;                 // ascending slot number

  const SlotDesc* find_slot(uint32_t slot) const;
  const ChipDesc* find_chip(uint32_t slot, uint32_t local_id) const;
  // The chip of `slot` that serves front-panel port `port`, or null.
  const ChipDesc* chip_for_port(uint32_t slot, uint32_t port) const;
  // The flat id of chip `local_id` of `slot`, or -1 when the chip table has no such chip.
  int32_t flat_chip_id(uint32_t slot, uint32_t local_id) const;
  // Slot and local id of the chip with flat id `flat`, or nothing.
  struct ChipPlace {
    uint32_t slot = 0;
    uint32_t local_id = 0;
  };
  std::optional<ChipPlace> chip_by_flat_id(uint32_t flat) const;
  // The name of port n: its own name, else name_format with {slot} and {port} filled in.
  std::string port_name(uint32_t port) const;
};

// Highest slot number a platform may describe (the agent's slot table has 10 records).
inline constexpr uint32_t kMaxSlot = 9;
// Highest local chip id (five bits of a chip's interface index).
inline constexpr uint32_t kMaxLocalChip = 31;
// Most chips a switch may have: a flow's hardware reference holds one handle per flat chip id.
inline constexpr uint32_t kMaxChips = 96;

struct ParseError {
  std::string message;  // "file:line: reason"
};

using ParseResult = std::variant<Platform, ParseError>;

// Parses the text of a platform file; `file` names it in error messages.
ParseResult parse_platform(std::string_view text, std::string_view file);
// Reads and parses a file; an unreadable file is "file:0: reason".
ParseResult load_platform(const std::string& path);
// The embedded default: one `ard` switch (model 131), one LP in slot 1 with one chip.
std::string_view default_platform_text();
// The platform of this process: OFA_PLATFORM's file or the default, then OFA_SLOT and OFA_BOOT.
ParseResult platform_from_env();

// The resource record as the platform fills it (128 bytes, big-endian words at their offsets).
std::vector<uint8_t> resource_record(const Platform& p);
// Slot parameters of a slot: word 0 the slot, word 1 the chip count, then one pair of words per
// chip (type, local id). An unknown slot gives nothing.
std::optional<std::vector<uint32_t>> slot_parameters(const Platform& p, uint32_t slot);

}  // namespace ofa::platform
