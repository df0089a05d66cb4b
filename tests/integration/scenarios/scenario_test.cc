// Scenario files against the real programs: for each file under this folder, ../groups, ../evt
// and ../stats (and the example session basic.scn), ofa-chipsim and
// openflowAgtd on a fresh run directory and the file's platform ("# platform: PATH" on one of its
// first lines, relative to the source tree) and environment ("# env: NAME=VALUE" lines, for the
// agent's test hooks), and `ofa-mgr run` of the file with the agent's debug
// log for its `expect log` lines. The file passes when every expectation is met, the chip is left
// consistent with exactly the dangling results the file names ("# dangling: TEXT" lines, as the
// simulator's check words them; none when it names none), and, where a golden request log
// `<name>.requests.jsonl` stands next to it, the chip's last requests are those lines. With
// OFA_SCENARIO_VALGRIND set, the agent runs under valgrind and a file passes only when valgrind
// reports no error and no leak.
#include <filesystem>

#include "processes.h"

namespace {

namespace fs = std::filesystem;

// The files of the scenario folders, and the example session a user runs first (demo.scn starts
// after the registration that scripts/demo.sh waits for, so the demo itself runs it).
std::vector<std::string> scenario_files() {
  std::vector<std::string> out;
  for (const char* dir : {OFA_SCENARIO_DIR, OFA_SCENARIO_DIR "/../groups",
                          OFA_SCENARIO_DIR "/../evt", OFA_SCENARIO_DIR "/../stats"})
    for (const auto& e : fs::recursive_directory_iterator(dir))
      if (e.path().extension() == ".scn") out.push_back(e.path().string());
  out.push_back(std::string(OFA_SOURCE_DIR) + "/examples/scenarios/basic.scn");
  std::sort(out.begin(), out.end());
  return out;
}

// The texts of the check answer's dangling list.
std::vector<std::string> dangling_of_check(const std::string& answer) {
  std::vector<std::string> out;
  const std::string head = "\"dangling\":[";
  size_t at = answer.find(head);
  if (at == std::string::npos) return {"no dangling list in " + answer};
  size_t end = answer.find(']', at);
  for (size_t q = answer.find('"', at + head.size()); q < end; q = answer.find('"', q + 1)) {
    size_t close = answer.find('"', q + 1);
    out.push_back(answer.substr(q + 1, close - q - 1));
    q = close;
  }
  return out;
}

// The simulator's request log as the golden files hold it: one decoded request a line, without
// its sequence number, and with "pid" for the owner words of checked requests (the agent's
// process id).
std::vector<std::string> request_lines(const std::string& text) {
  std::vector<std::string> out;
  for (std::string line : ofa::test::lines(text)) {
    size_t at = line.find("\"seq\":");
    size_t comma = at == std::string::npos ? at : line.find(',', at);
    if (comma != std::string::npos) line.erase(at, comma - at + 1);
    const std::string owner = "\"owner\":";
    for (at = line.find(owner); at != std::string::npos; at = line.find(owner, at + 1)) {
      size_t from = at + owner.size(), to = line.find_first_of(",}", from);
      line.replace(from, to - from, "\"pid\"");
    }
    out.push_back(line);
  }
  return out;
}

class Scenario : public ofa::test::RunDir, public ::testing::WithParamInterface<std::string> {};

TEST_P(Scenario, EveryExpectationIsMet) {
  const std::string file = GetParam();
  std::vector<std::string> dangling;  // the file's "# dangling: " texts
  for (const std::string& l : ofa::test::lines(ofa::test::read_file(file))) {
    if (l.starts_with("# platform: "))
      env_["OFA_PLATFORM"] = std::string(OFA_SOURCE_DIR) + "/" + l.substr(12);
    if (l.starts_with("# env: ") && l.find('=') != std::string::npos)
      env_[l.substr(7, l.find('=') - 7)] = l.substr(l.find('=') + 1);
    if (l.starts_with("# dangling: ")) dangling.push_back(l.substr(12));
  }
  ofa::test::Child sim, mgr, agent;
  sim.start(OFA_CHIPSIM_BIN, {"--no-auto-events", "--log", path("requests.jsonl")}, env_,
            path("chipsim.out"));
  ASSERT_TRUE(ofa::test::wait_for([&] { return ofa::test::exists(path("hsl/ctl.1")); }));
  mgr.start(OFA_MGR_BIN, {"run", "--timeout", "30", "--agent-log", path("ofastdout"), file}, env_,
            path("run.out"));
  ASSERT_TRUE(ofa::test::wait_for([&] { return ofa::test::exists(path("pq6/ofmgragt.mp")); }));
  const char* valgrind = std::getenv("OFA_SCENARIO_VALGRIND");
  if (valgrind)
    agent.start("/usr/bin/valgrind",
                {"-q", "--error-exitcode=99", "--leak-check=full",
                 "--errors-for-leak-kinds=definite,indirect", "--log-file=" + path("valgrind.txt"),
                 OFA_AGENT_BIN},
                env_, path("agent.out"));
  else
    agent.start(OFA_AGENT_BIN, {}, env_, path("agent.out"));
  int rc = mgr.wait_exit(std::chrono::seconds(120));
  std::string run = ofa::test::read_file(path("run.out"));
  EXPECT_EQ(rc, 0) << run << "\n-- agent log tail --\n"
                   << agent_log().substr(agent_log().size() > 4000 ? agent_log().size() - 4000 : 0);
  std::string check = ctl("check");
  EXPECT_NE(check.find("\"consistent\":true"), std::string::npos) << check;
  EXPECT_EQ(dangling_of_check(check), dangling);
  EXPECT_TRUE(agent.alive());
  if (valgrind) {
    EXPECT_EQ(agent.stop(), 0);
    EXPECT_EQ(ofa::test::read_file(path("valgrind.txt")), "");
  }
  // A golden request log next to the file holds the last requests the chip must have received.
  std::string golden = fs::path(file).replace_extension(".requests.jsonl").string();
  if (ofa::test::exists(golden)) {
    auto want = request_lines(ofa::test::read_file(golden));
    auto got = request_lines(ofa::test::read_file(path("requests.jsonl")));
    ASSERT_GE(got.size(), want.size());
    got.erase(got.begin(), got.end() - static_cast<std::ptrdiff_t>(want.size()));
    for (size_t i = 0; i < want.size(); ++i)
      EXPECT_EQ(got[i], want[i]) << golden << " line " << i + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(Files, Scenario, ::testing::ValuesIn(scenario_files()),
                         [](const auto& info) {
                           std::string name =
                               fs::path(info.param).parent_path().filename().string() + "_" +
                               fs::path(info.param).stem().string();
                           for (char& c : name)
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           return name;
                         });

}  // namespace
