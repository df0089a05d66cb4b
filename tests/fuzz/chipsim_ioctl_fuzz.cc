// ofa-chipsim's chip model: a run of HSL command messages, as the agent's ioctls deliver them,
// against a fresh model of one family. After the run the model's own consistency check must find
// nothing, every refused request must have drawn one error log line, and its dump, statistics and
// request log must be well-formed JSON.
//
// Input: one option byte, then messages, each a 16-bit big-endian byte count and that many bytes
// (the last one takes what is left).
//   option bits 0-1: family (0 ard, 1 ard2, 2 zim, 3 ard)
//   bit 2: the buffer is exactly the message (no room behind it), else 4096 bytes as the server
//   bit 3: a fault on the first request of every command; a faulted request (not a bulk) must
//          leave the chip tables as they were
//   bit 4: the request log is on (every request decoded into JSON)
//   bit 5: synthetic traffic on every entry, policer and queue before each message, so that
//          statistics reads have counters to answer
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "json_check.h"
#include "model/commands.h"
#include "model/model.h"
#include "model/show.h"
#include "platform/wire.h"
#include "tool_checks.h"

namespace {

using namespace ofa::chipsim;

// One chip in slot 1 with local id 0, TCAMs of 4096, the way the unit tests set the model up.
ModelConfig config(Family f) {
  ModelConfig c;
  c.family = f;
  c.model = f == Family::ard ? 131 : f == Family::ard2 ? 153 : 1004;
  c.l2_tcam_size = 4096;
  c.l3_tcam_size = 4096;
  c.chips = {{1, 0, 1}};
  return c;
}

// The chip tables of the dump, without the statistics and faults behind them.
std::string tables(const Model& m) {
  std::string d = m.dump_json();
  return d.substr(0, d.rfind(",\"stats\":"));
}

// A fault waits for the request of this message. (Inside a bulk container faults fire on the
// sub-requests, after the ones before them were carried out: no such check there.)
bool fault_pending(const Model& m, std::span<const uint8_t> msg, size_t got) {
  ofa::wire::Reader r(msg.first(got));
  uint32_t command = r.u32_at(kRequestOffset);
  if (!r.ok() || command == cmd::kBulk) return false;
  for (const auto& f : m.faults())
    if (f.command == command) return true;
  return false;
}

void check_json(const std::string& s) {
  if (!ofa::fuzz::valid_json(s)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  std::span<const uint8_t> in(data, size);
  uint8_t opt = in[0];
  in = in.subspan(1);
  static constexpr Family kFamilies[] = {Family::ard, Family::ard2, Family::zim, Family::ard};
  Model m(config(kFamilies[opt & 3]));
  bool exact = opt & 4, faults = opt & 8;
  if (opt & 16) m.set_request_log(check_json);
  uint64_t errors_logged = 0;
  m.set_error_log([&errors_logged](const std::string&) { ++errors_logged; });
  if (faults) {
    for (const auto& c : all_commands())
      m.add_fault({.command = c.code, .status = -7, .mode = FaultMode::once});
  }

  std::vector<uint8_t> buf;
  while (in.size() >= 2) {
    size_t n = std::min<size_t>(in.size() - 2, (size_t{in[0]} << 8) | in[1]);
    auto msg = in.subspan(2, n);
    in = in.subspan(2 + n);
    buf.assign(exact ? n : kMaxMessage, 0);
    size_t got = std::min(n, buf.size());
    std::copy_n(msg.begin(), got, buf.begin());

    if (opt & 32) m.traffic_all(3, 192);
    bool watch = fault_pending(m, buf, got);
    std::string before = watch ? tables(m) : std::string();
    uint64_t fired = m.stats().faults_fired;
    size_t answer = m.ioctl(buf, got);
    if (answer > buf.size()) __builtin_trap();
    if (watch && m.stats().faults_fired != fired && tables(m) != before) __builtin_trap();
  }

  if (!check_invariants(m).empty() || errors_logged != m.stats().errors) __builtin_trap();
  check_json(m.dump_json());
  check_json(m.stats_json());
  volatile size_t sink = show_text(m).size();
  (void)sink;
  return 0;
}
