// ofa-mgr's decoder of agent-to-manager datagrams: any bytes are decoded or refused with a
// reason, never read past their end.
#include <cstddef>
#include <cstdint>
#include <span>

#include "codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto decoded = ofa::mgr::decode_datagram(std::span<const uint8_t>(data, size));
  (void)decoded;
  return 0;
}
