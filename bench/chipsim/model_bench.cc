// Request handling of the chip model in-process: requests per second and microseconds per
// request, for the kinds of request the agent sends most.
#include <benchmark/benchmark.h>

#include "chipsim_test_util.h"

namespace ofa::chipsim::test {
namespace {

// Requests per second, and the time of one request (printed with its unit, e.g. "1.9us"), from
// the number of requests done.
void count(benchmark::State& state, double requests_per_iteration) {
  double n = static_cast<double>(state.iterations()) * requests_per_iteration;
  state.counters["requests_per_s"] = benchmark::Counter(n, benchmark::Counter::kIsRate);
  state.counters["time_per_request"] =
      benchmark::Counter(n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One ioctl through the model's entry, as the server does it: the message in a 4096-byte buffer.
struct Sender {
  explicit Sender(Model& m) : m(m), buf(kMaxMessage) {}
  int32_t send(const std::vector<uint8_t>& msg) {
    std::copy(msg.begin(), msg.end(), buf.begin());
    m.ioctl(buf, msg.size());
    return static_cast<int32_t>(wire::Reader(buf).u32_at(72));
  }
  Model& m;
  std::vector<uint8_t> buf;
};

// The L2 flow region with entries 1 to n in that order.
void fill_flow_region(Sender& s, uint32_t n) {
  s.send(message(kChip, region_add(10, 20, 4072, 254, 16).b));
  for (uint32_t h = 1; h <= n; ++h)
    s.send(message(kChip, l2_add(h, 20, 0, h - 1).b));
}

// An L2 flow add behind `fill` entries, then its delete.
void BM_FlowAddDelete(benchmark::State& state) {
  Model m(config(Family::ard));
  Sender s(m);
  auto fill = static_cast<uint32_t>(state.range(0));
  fill_flow_region(s, fill);
  // In the middle of the order: between handles fill/2 and fill/2 + 1.
  uint32_t after = fill / 2, before = fill ? after + 1 : 0;
  auto add = message(kChip, l2_add(50000, 20, before, after).b);
  auto del = message(kChip, flow_del(false, 50000, 20).b);
  for (auto _ : state) {
    if (s.send(add) != 0 || s.send(del) != 0) state.SkipWithError("request refused");
  }
  count(state, 2);
}
BENCHMARK(BM_FlowAddDelete)->Arg(0)->Arg(1000)->Arg(4000);

// The same with the request log on (one JSON line per request).
void BM_FlowAddDeleteLogged(benchmark::State& state) {
  Model m(config(Family::ard));
  size_t bytes = 0;
  m.set_request_log([&bytes](const std::string& line) { bytes += line.size(); });
  Sender s(m);
  s.send(message(kChip, region_add(10, 20, 4072, 254, 16).b));
  auto add = message(kChip, l2_add(7, 20, 0, 0).b);
  auto del = message(kChip, flow_del(false, 7, 20).b);
  for (auto _ : state) {
    s.send(add);
    s.send(del);
  }
  benchmark::DoNotOptimize(bytes);
  count(state, 2);
}
BENCHMARK(BM_FlowAddDeleteLogged);

// A port enable of ard: one bulk of seven sub-requests.
void BM_PortEnableBulk(benchmark::State& state) {
  Model m(config(Family::ard));
  Sender s(m);
  uint32_t port = platform::port_ifindex(1, 3);
  Req vlan(0x04272003, 1108);
  vlan.u32(28, port).u32(36, 1u << 26).u32(40, 1u << 29).u32(84, 0xFFFFFFFFu);
  Req bulk(0x00070000, 36);
  bulk.sub(vlan)
      .sub(Req(0x04272024, 44).u32(28, port).u32(32, 0x80000000u).u32(36, 0xFFE01))
      .sub(Req(0x04272001, 84).u32(32, port))
      .sub(Req(0x01271002, 160).u32(28, port))
      .sub(Req(0x0427180C, 56).u32(28, 100).u8(33, 1).u8(34, 16).u8(35, 0x80).u32(36, port))
      .sub(Req(0x04272014, 60).u32(28, 1).u32(32, 0x00020000).u32(36, 4).u32(48, port))
      .sub(Req(0x04272001, 52).u8(28, 6).u32(32, 0x80000000u).u32(48, port));
  auto msg = message(kChip, bulk.b);
  for (auto _ : state) {
    if (s.send(msg) != 0) state.SkipWithError("bulk refused");
  }
  count(state, 8);
}
BENCHMARK(BM_PortEnableBulk);

// A flow statistics read of n handles.
void BM_StatsRead(benchmark::State& state) {
  Model m(config(Family::ard));
  Sender s(m);
  auto n = static_cast<uint32_t>(state.range(0));
  fill_flow_region(s, n);
  Req read(0x06270000, 48 + 8 * n, 48 + 32 * n + 4 * ((n + 31) / 32));
  read.u32(28, 12).u8(33, 20).u16(34, static_cast<uint16_t>(n)).u16(36, static_cast<uint16_t>(n));
  for (uint32_t i = 0; i < n; ++i)
    read.u32(48 + 8 * i, i + 1).u32(52 + 8 * i, 65535);
  auto msg = message(kChip, read.b);
  for (auto _ : state) {
    if (s.send(msg) != 0) state.SkipWithError("read refused");
  }
  count(state, 1);
}
BENCHMARK(BM_StatsRead)->Arg(1)->Arg(32)->Arg(120);

}  // namespace
}  // namespace ofa::chipsim::test

BENCHMARK_MAIN();
