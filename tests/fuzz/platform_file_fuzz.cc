// The platform file parser: any text is parsed or refused with "fuzz:<line>: <reason>". What
// parses holds the parser's promises (slots and chips ascending and in range, ports ascending in
// 1-127 and served by one chip of a slot, my_slot described, at most 96 chips with dense flat ids
// that lead back to their chips), and its resource record and slot parameters are built from it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <variant>

#include "platform/platform_file.h"
#include "tool_checks.h"

namespace {

using ofa::fuzz::check;
using ofa::platform::ParseError;
using ofa::platform::Platform;

void check_platform(const Platform& p) {
  check(p.find_slot(p.my_slot) != nullptr);
  int32_t flat = 0;
  for (size_t i = 0; i < p.slots.size(); ++i) {
    const auto& s = p.slots[i];
    check(s.slot <= ofa::platform::kMaxSlot);
    if (i > 0) check(p.slots[i - 1].slot < s.slot);
    for (size_t j = 0; j < s.chips.size(); ++j) {
      const auto& c = s.chips[j];
      check(c.local_id <= ofa::platform::kMaxLocalChip);
      if (j > 0) check(s.chips[j - 1].local_id < c.local_id);
      check(std::is_sorted(c.ports.begin(), c.ports.end()));
      check(std::adjacent_find(c.ports.begin(), c.ports.end()) == c.ports.end());
      for (uint32_t port : c.ports)
        check(port >= 1 && port <= 127 && p.chip_for_port(s.slot, port) == &c);
      auto place = p.chip_by_flat_id(static_cast<uint32_t>(flat));
      check(p.flat_chip_id(s.slot, c.local_id) == flat && place && place->slot == s.slot &&
            place->local_id == c.local_id);
      ++flat;
    }
    auto words = ofa::platform::slot_parameters(p, s.slot);
    check(words && words->size() == 2 + 2 * s.chips.size() && (*words)[0] == s.slot);
  }
  if (p.slots.size() <= ofa::platform::kMaxSlot)
    for (uint32_t slot = 0; slot <= ofa::platform::kMaxSlot + 1; ++slot)
      if (!p.find_slot(slot)) check(!ofa::platform::slot_parameters(p, slot));
  check(flat <= static_cast<int32_t>(ofa::platform::kMaxChips) &&
        !p.chip_by_flat_id(static_cast<uint32_t>(flat)));
  check(ofa::platform::resource_record(p).size() == 128);
  (void)p.port_name(1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  auto parsed = ofa::platform::parse_platform(text, "fuzz");
  if (const auto* err = std::get_if<ParseError>(&parsed)) {
    check(ofa::fuzz::names_a_line(err->message, "fuzz", 0, ofa::fuzz::line_count(text)));
  } else {
    check_platform(std::get<Platform>(parsed));
  }
  return 0;
}
