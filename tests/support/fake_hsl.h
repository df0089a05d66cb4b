// The in-process HSL of unit tests and fuzzers: every chip request is recorded and answered in
// place (status 0, or `fail_status` for the requests `fail` names), with an optional reply
// written into the request area first.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <vector>

#include "platform/wire.h"

namespace ofa::test {

struct Request {
  uint32_t target = 0;
  uint32_t command = 0;
  std::vector<uint8_t> bytes;  // the request from its command word, `size` bytes
  uint32_t word(size_t off) const { return wire::Reader(bytes.data(), bytes.size()).u32_at(off); }
};

struct FakeHsl {
  std::vector<Request> requests;
  std::set<size_t> fail;                // indexes of the requests refused
  std::function<bool(size_t)> fail_if;  // or a rule over the index
  int32_t fail_status = -5;
  bool envelope_ok = true;  // every request fitted its buffer and said its size
  void (*reply)(size_t index, std::span<uint8_t> area) = nullptr;
  std::vector<uint32_t> commands() const {
    std::vector<uint32_t> out;
    for (const auto& q : requests)
      out.push_back(q.command);
    return out;
  }
};

FakeHsl& fake_hsl();
// Empties the record and plugs the fake HSL into the transport.
void install_fake_hsl();

}  // namespace ofa::test
