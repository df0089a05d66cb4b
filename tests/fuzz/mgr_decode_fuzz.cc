// ofa-mgr's decoder of agent-to-manager datagrams: any bytes are decoded or refused with a
// reason, never read past their end. What decodes is printed the ways `ofa-mgr decode` prints
// it: summary line, field rows, and JSON that must be well-formed whatever the text fields hold.
#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>

#include "codec.h"
#include "format.h"
#include "json_check.h"
#include "tool_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto decoded = ofa::mgr::decode_datagram(std::span<const uint8_t>(data, size));
  for (const auto& d : decoded) {
    if (const auto* e = std::get_if<ofa::mgr::DecodeError>(&d)) {
      if (e->reason.empty() || e->offset > size) __builtin_trap();
      continue;
    }
    const auto& m = std::get<ofa::mgr::Message>(d);
    volatile size_t sink = ofa::mgr::summary(m).size() + ofa::mgr::field_rows(m).size();
    (void)sink;
    if (!ofa::fuzz::valid_json(ofa::mgr::to_json(m))) __builtin_trap();
  }
  return 0;
}
