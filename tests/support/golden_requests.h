// Every chip request record once, for both sides of the wire: the agent's builder with a stated
// input, the exact bytes it must give (at each offset its big-endian bytes; everything else in the
// request is zero and nothing behind it is touched), and what the simulator decodes from those
// bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "chip/chip_req.h"
#include "hex.h"

namespace ofa::test {

struct GoldenRequest {
  std::string name;
  std::function<uint32_t(std::span<uint8_t>)> build;
  uint32_t length;    // what the builder returns
  uint32_t extent;    // bytes it owns (zero-filled): the larger of the lengths
  std::string bytes;  // "offset: hex | offset: hex ...", spaces in the hex ignored
  // The simulator's side: the family it is sent to, the golden requests sent before it, and the
  // fields it decodes (the "fields" of its request-log line). Records without decoded fields
  // (bare headers, bulks) are not sent.
  of_req_family family = of_req_family::ard;
  std::vector<std::string> needs;
  std::string decoded;
  int32_t status = 0;  // the simulator's answer
};
inline void PrintTo(const GoldenRequest& g, std::ostream* os) {
  *os << g.name;
}

const std::vector<GoldenRequest>& golden_requests();
const GoldenRequest& golden_request(const std::string& name);

}  // namespace ofa::test
