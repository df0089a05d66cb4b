// ofactl and a running openflowAgtd: the scheduler's accounting crosses from the agent's main loop
// through its debug client socket, as text and as JSON lines; with the agent gone, ofactl says so;
// the shows after the basic session, as text (ofa-mgr's expect show) and as JSON;
// the debug bits and the debug channel of a fresh agent; every program refuses a run directory
// others may write.
#include <arpa/inet.h>

#include <algorithm>
#include <atomic>
#include <regex>
#include <thread>

#include "processes.h"

namespace {

using namespace ofa::test;

class Ofactl : public RunDir {
 protected:
  // The simulator, the manager (`run` of examples/scenarios/basic.scn unless other words are
  // given), and the agent; true once the agent's debug client socket is there.
  bool start_session(Child& sim, Child& mgr, Child& agent, std::vector<std::string> mgr_args = {}) {
    if (mgr_args.empty())
      mgr_args = {"run", "--timeout", "20",
                  std::string(OFA_SOURCE_DIR) + "/examples/scenarios/basic.scn"};
    sim.start(OFA_CHIPSIM_BIN, {"--no-auto-events"}, env_, path("chipsim.out"));
    if (!wait_for([&] { return exists(path("hsl/ctl.1")); })) return false;
    mgr.start(OFA_MGR_BIN, mgr_args, env_, path("run.out"));
    if (!wait_for([&] { return exists(path("pq6/ofmgragt.mp")); })) return false;
    agent.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
    return wait_for([&] { return exists(path("qcf/ofagt_p1")); });
  }
  // Exit code and output (stdout and stderr) of one ofactl run.
  std::pair<int, std::string> ofactl(const std::vector<std::string>& args) {
    Child c;
    std::string out = path("ofactl.out");
    std::remove(out.c_str());
    c.start(OFACTL_BIN, args, env_, out);
    int code = c.wait_exit();
    return {code, read_file(out)};
  }
};

TEST_F(Ofactl, SchedFromTheRunningAgentThenNoAgent) {
  Child agent;
  agent.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
  ASSERT_TRUE(wait_for([&] { return exists(path("qcf/ofagt_p1")); }));
  ofactl({"sched"});  // the request's own callback shows from the next answer on
  auto [code, out] = ofactl({"sched"});
  ASSERT_EQ(code, 0) << out;
  const std::string num = "\\d+\\.\\d{3}";
  std::vector<std::string> rows = lines(out);
  ASSERT_GE(rows.size(), 3u) << out;
  EXPECT_TRUE(
      std::regex_match(rows.front(), std::regex("callback +calls  +total us  +longest us")));
  EXPECT_TRUE(
      std::regex_match(rows.back(), std::regex("\\(loop pass\\) +\\d+  +" + num + "  +" + num)));
  EXPECT_NE(out.find("\nofa_qcf_channel_read "), std::string::npos) << out;

  std::tie(code, out) = ofactl({"--json", "sched"});
  ASSERT_EQ(code, 0) << out;
  const std::regex object("\\{\"callback\":\"[^\"]+\",\"calls\":\\d+,\"total_us\":" + num +
                          ",\"longest_us\":" + num + "\\}");
  EXPECT_EQ(lines(out).size(), rows.size() - 1);
  for (const std::string& l : lines(out))
    EXPECT_TRUE(std::regex_match(l, object)) << l;
  EXPECT_NE(agent_log().find("OF agent successfully initialized as lumen client"),
            std::string::npos);

  agent.kill_now();
  EXPECT_EQ(ofactl({"sched"}), std::make_pair(1, "ofactl: no agent at " + dir_ +
                                                     "/qcf/ofagt_p1: is openflowAgtd running for "
                                                     "slot 1?\n"));
}

TEST_F(Ofactl, ShowsAfterTheBasicSessionAsTheGoldenFiles) {
  const std::string golden = std::string(OFA_SOURCE_DIR) + "/tests/integration/ofactl/basic/";
  env_["OFA_STATS_PERIOD_MS"] = "100";
  Child sim, mgr, agent;
  ASSERT_TRUE(start_session(sim, mgr, agent));
  ASSERT_EQ(mgr.wait_exit(std::chrono::seconds(60)), 0) << read_file(path("run.out"));
  Child shows;
  shows.start(OFA_MGR_BIN, {"run", golden + "shows.scn"}, env_, path("shows.out"));
  EXPECT_EQ(shows.wait_exit(std::chrono::seconds(60)), 0) << read_file(path("shows.out"));
  for (const char* request :
       {"chip all", "port all", "vlan all", "flow_tree", "chip 0 l2flow_tree", "chip 0 l3flow_tree",
        "flow all", "group all", "meter 1", "evt all", "l2fwd_info"}) {
    std::string name = request;
    std::replace(name.begin(), name.end(), ' ', '_');
    std::vector<std::string> args = {"--json"};
    for (const std::string& w : lines(std::regex_replace(request, std::regex(" "), "\n")))
      args.push_back(w);
    EXPECT_EQ(ofactl(args), std::make_pair(0, read_file(golden + name + ".jsonl"))) << request;
  }
  const std::string all = read_file(golden + "flow_all.txt");
  const size_t from = all.find("Flow Id: 13,"), to = all.find("Flow Id: 15,");
  EXPECT_EQ(ofactl({"flow", "13"}), std::make_pair(0, all.substr(from, to - from) + "\n"));
  EXPECT_EQ(ofactl({"flow", "99"}).second, "Error: Cannot find the flow entry for flow id :99\n\n");

  // The chip's counters reach the flow's show on the statistics tick.
  ASSERT_EQ(ctl("traffic all 5 320"), "{\"ok\":true,\"advanced\":13}");
  ASSERT_TRUE(wait_for([&] {
    return ofactl({"flow", "10"}).second.find("Total Pkts: 5\n") != std::string::npos;
  }));
  EXPECT_EQ(ofactl({"flow", "10"}), std::make_pair(0, read_file(golden + "flow_10_traffic.txt")));
  EXPECT_EQ(ofactl({"--json", "flow", "10"}),
            std::make_pair(0, read_file(golden + "flow_10_traffic.jsonl")));
}

// A list of 5000 flows (of 6000) is one answer of 1.5 MB, whole through the agent's client
// thread and ofactl.
TEST_F(Ofactl, SixThousandFlowsListFiveThousandBlocks) {
  env_["OFA_PLATFORM"] = std::string(OFA_SOURCE_DIR) + "/bench/platforms/two_slots_50023.conf";
  const std::string setup = write("setup.scn",
                                  "wait registration timeout=30\n"
                                  "chip event slot-up\n"
                                  "chip event chip-up\n"
                                  "expect log ~ \"Programmed default l2psel entry\" timeout=10\n"
                                  "openflow enable\n"
                                  "port enable 3 pvid=1 nhop=11\n"
                                  "port enable 5 pvid=1 nhop=12\n"
                                  "barrier\n");
  Child sim, mgr, agent;
  ASSERT_TRUE(start_session(sim, mgr, agent,
                            {"bench", "--setup", setup, "--agent-log", path("ofastdout"),
                             "--timeout", "20", "flows=6000", "window=16", "round-trips=0"}));
  ASSERT_EQ(mgr.wait_exit(std::chrono::seconds(60)), 0) << read_file(path("run.out"));
  auto [code, list] = ofactl({"flow", "all"});
  ASSERT_EQ(code, 0) << list.substr(0, 200);
  EXPECT_EQ(count(list, "Flow Id: "), 5000u);
}

// One show request (code 16000) on a connection to the agent of slot 1; the reply's text (or
// "(none)").
std::string show_request(int fd, const std::string& text) {
  const uint32_t head[] = {htonl(static_cast<uint32_t>(4 + text.size())), htonl(16000)};
  std::string out = std::string(reinterpret_cast<const char*>(head), sizeof head) + text;
  if (::send(fd, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size()))
    return "(not sent)";
  std::string in;
  size_t want = 8;
  while (in.size() < want) {
    pollfd p{fd, POLLIN, 0};
    char chunk[65536];
    ssize_t n = poll(&p, 1, 10000) == 1 ? recv(fd, chunk, sizeof chunk, 0) : 0;
    if (n <= 0) return "(none)";
    in.append(chunk, static_cast<size_t>(n));
    if (want == 8 && in.size() >= 8)
      want = 4 + ((uint8_t(in[0]) << 24) | (uint8_t(in[1]) << 16) | (uint8_t(in[2]) << 8) |
                  uint8_t(in[3]));
  }
  return in.substr(8);
}

// A socket connected to the agent's at `path` (unconnected when the agent is not there: then
// every request on it goes unsent).
int connect_agent(const std::string& path) {
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un sun = unix_addr(path);
  connect(fd, reinterpret_cast<sockaddr*>(&sun), sizeof sun);
  return fd;
}

// 16 clients of 200 show requests each while the manager replays the basic session: every request
// is answered whole, no status is lost. (Frames of any length and content are the debug socket's
// unit test and the debug request fuzzer's, which also checks that no show changes a table.)
TEST_F(Ofactl, SixteenClientsWhileTheSessionRuns) {
  Child sim, mgr, agent;
  ASSERT_TRUE(start_session(sim, mgr, agent));
  const std::string socket_path = path("qcf/ofagt_p1");
  std::atomic<int> bad{0};
  std::vector<std::thread> clients;
  for (int c = 0; c < 16; ++c) {
    clients.emplace_back([&, c] {
      const char* requests[] = {"flow_tree", "vlan all", "chip all", "flow all", "port all"};
      int fd = connect_agent(socket_path);
      for (int i = 0; i < 200; ++i) {
        std::string r = requests[(c + i) % 5];
        std::string reply = show_request(fd, r);
        if (reply.empty() || reply.back() != '\n') ++bad;
      }
      close(fd);
    });
  }
  for (auto& t : clients)
    t.join();
  EXPECT_EQ(bad, 0);
  EXPECT_EQ(mgr.wait_exit(std::chrono::seconds(60)), 0) << read_file(path("run.out"));
  EXPECT_TRUE(agent.alive());
}

// The debug text turns the bits; the debug channel reaches a follower only while bit 17 is on.
TEST_F(Ofactl, DebugBitsAndTheChannelOfAFreshAgent) {
  Child agent;
  agent.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
  ASSERT_TRUE(wait_for([&] { return exists(path("qcf/ofagt_p1")); }));
  EXPECT_EQ(ofactl({"debug", "log", "hardware", "on"}),
            std::make_pair(0, std::string("debugOpenflow 0xe0080000\n")));
  EXPECT_EQ(ofactl({"debug", "events", "on"}).second, "debugOpenflow 0xe00a0000\n");
  Child log;
  log.start(OFACTL_BIN, {"log"}, env_, path("log.out"));
  auto send = [&](const std::string& id) {
    Child mgr;
    mgr.start(OFA_MGR_BIN,
              {"send", "--timeout", "0.2", "flow", "add", "id=" + id, "priority=1", "actions=drop"},
              env_, path("send.out"));
    EXPECT_EQ(mgr.wait_exit(), 0) << read_file(path("send.out"));
  };
  ASSERT_TRUE(wait_for([&] {
    send("40");
    return read_file(path("log.out")).find("Flow id: 40;") != std::string::npos;
  }));
  EXPECT_EQ(ofactl({"debug", "events", "off"}).first, 0);
  send("41");
  ASSERT_TRUE(wait_agent_log("Flow id: 41;"));
  EXPECT_EQ(read_file(path("log.out")).find("Flow id: 41;"), std::string::npos);
  log.kill_now();
}

// Whoever can write in the run directory could speak as the manager or as the chip: each of the
// four programs refuses one that group or others may write, before it binds anything there.
TEST_F(Ofactl, EveryProgramRefusesARunDirectoryOthersMayWrite) {
  ASSERT_EQ(chmod(dir_.c_str(), 0777), 0);
  const std::string why =
      dir_ + ": run directory refused: writable by group or others (mode 0777)\n";
  const struct {
    const char* bin;
    std::vector<std::string> args;
    std::string prefix;
  } programs[] = {
      {OFA_AGENT_BIN, {}, ""},
      {OFA_CHIPSIM_BIN, {}, "ofa-chipsim: "},
      {OFA_MGR_BIN, {"listen"}, "ofa-mgr: "},
      {OFACTL_BIN, {"sched"}, "ofactl: "},
  };
  for (const auto& p : programs) {
    Child c;
    std::string out = path("refused." + std::to_string(&p - programs));
    c.start(p.bin, p.args, env_, out);
    EXPECT_EQ(c.wait_exit(), 2) << p.bin;
    EXPECT_EQ(read_file(out), p.prefix + why) << p.bin;
  }
  EXPECT_FALSE(exists(path("pq6"))) << "nothing may be made in a refused run directory";
}

}  // namespace
