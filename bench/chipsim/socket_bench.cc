// The simulator's socket path alone: a client sends ioctl messages over the SOCK_SEQPACKET
// command socket to the server running in a thread and waits for each answer.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "chipsim_test_util.h"
#include "platform/run_dir.h"
#include "server/server.h"

namespace ofa::chipsim::test {
namespace {

void BM_SocketRoundTrip(benchmark::State& state) {
  char tmpl[] = "/tmp/chipsim-bench-XXXXXX";
  if (!::mkdtemp(tmpl)) {
    state.SkipWithError("mkdtemp");
    return;
  }
  std::string dir = tmpl;
  ::setenv("OFA_RUN_DIR", dir.c_str(), 1);
  Model model(config(Family::ard));
  Control control{model, nullptr, {1}, {}, 0};
  Server server(model, control, ServerOptions{1, false, 0});
  std::atomic<bool> stop{false};
  if (server.open()) {
    state.SkipWithError("open");
    return;
  }
  std::thread t([&] { server.run(stop); });
  int fd = ::socket(AF_UNIX, SOCK_SEQPACKET, 0);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::snprintf(a.sun_path, sizeof a.sun_path, "%s", platform::hsl_cmd_path(1).c_str());
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) < 0) {
    state.SkipWithError("connect");
  } else {
    std::vector<uint8_t> reply(kMaxMessage);
    auto exchange = [&](const std::vector<uint8_t>& msg) {
      ::send(fd, msg.data(), msg.size(), 0);
      ::recv(fd, reply.data(), reply.size(), 0);
      return wire::Reader(reply).u32_at(72);
    };
    exchange(message(kChip, region_add(10, 20, 4072, 254, 16).b));
    auto add = message(kChip, l2_add(7, 20, 0, 0).b);
    auto del = message(kChip, flow_del(false, 7, 20).b);
    for (auto _ : state) {
      if (exchange(add) != 0 || exchange(del) != 0) state.SkipWithError("refused");
    }
    double n = static_cast<double>(state.iterations()) * 2;
    state.counters["requests_per_s"] = benchmark::Counter(n, benchmark::Counter::kIsRate);
    state.counters["time_per_request"] =
        benchmark::Counter(n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  }
  ::close(fd);
  stop = true;
  t.join();
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_SocketRoundTrip)->UseRealTime();

}  // namespace
}  // namespace ofa::chipsim::test
