// ofactl's side: the words of each request and what they send, "flow N" cut out of the agent's
// list (and told apart from a list cut at its limit), and the JSON reader of the show texts on the
// lines the basic session's golden files do not hold, and on lines it must refuse. The requests
// the integration test sends to a running agent (shows, debug, log, sched) are its to check.
#include <gtest/gtest.h>

#include <tuple>

#include "requests.h"
#include "show_json.h"

namespace {

using namespace ofa::ofactl;

TEST(OfactlRequests, WordsToCodeAndText) {
  // The words, raw or not, and what is sent: code:text, or the usage error.
  const std::tuple<std::vector<std::string>, bool, std::string> cases[] = {
      {{"flow"}, false, "16000:flow all"},
      {{"flow", "12"}, false, "16000:flow all"},
      {{"chip", "0", "x"}, false, "unknown request 'chip 0 x'"},
      {{"vlan", "4294967296"}, false, "unknown request 'vlan 4294967296'"},
      {{"evt", "3"}, false, "16000:evt port 3"},
      {{"debug"}, false, "debug needs its words"},
      {{"ping"}, false, "0:"},
      {{"FLOW_TREEx", "a", "b"}, true, "16000:FLOW_TREEx a b"},
      {{""}, false, "no request"},
  };
  for (const auto& [words, raw, sent] : cases) {
    std::vector<std::string> args(words.begin() + 1, words.end());
    auto r = read_request(words[0], args, raw);
    std::string got =
        std::holds_alternative<std::string>(r)
            ? std::get<std::string>(r)
            : std::to_string(std::get<Request>(r).code) + ":" + std::get<Request>(r).text;
    EXPECT_EQ(got, sent) << words[0];
  }
}

TEST(OfactlRequests, FlowCutOutOfTheList) {
  const std::string a = "Flow Id: 1, Priority: 5, FD Id: 0, PW Id: 0\n\tRule:\n\n";
  const std::string b = "[Flow not in this LP]\nFlow Id: 12, Priority: 5, FD Id: 0, PW Id: 0\n\n";
  const std::string list = a + b + "\n";
  EXPECT_EQ(flow_of_list(list, 1), a + "\n");
  EXPECT_EQ(flow_of_list(list, 12), b + "\n");
  std::string full;
  for (uint32_t id = 1; id <= kFlowListMax; ++id)
    full += "Flow Id: " + std::to_string(id) + ", Priority: 1, FD Id: 0, PW Id: 0\n\n";
  EXPECT_EQ(flow_of_list(full + "\n", kFlowListMax + 1), std::nullopt);
}

TEST(OfactlJson, LinesReadOrRefused) {
  // The text, and its JSON or the error.
  const std::pair<std::string, std::string> cases[] = {
      {"\nInvalid command.\n", "{\"error\":\"Invalid command.\"}\n"},
      {"No entry for group id: 4 found\n\n", "{\"error\":\"No entry for group id: 4 found\"}\n"},
      {"Total no. of entries printed: 0\n\n", "{\"entries_printed\":0}\n"},
      {"Chip Id: 0\n   is_local: 1 local chip id: 0 ifindex: 0x84400000\n",
       "line 2 of the answer cannot be read: \"   is_local: 1 local chip id: 0 ifindex: "
       "0x84400000\""},
      {"Vlan Id: 100\n   member ports:   3,   x, \n",
       "line 2 of the answer cannot be read: \"   member ports:   3,   x, \""},
      {"Flow Id: 1, Priority: 5, FD Id: 0, PW Id: 0\n\tHardware Information:\n\tPort: 3\n",
       "line 3 of the answer cannot be read: \"\tPort: 3\""},
      {"\nMeter id: 1\n\n  Meter Flags:\t\t\t KBPS FAST\n",
       "line 4 of the answer cannot be read: \"  Meter Flags:\t\t\t KBPS FAST\""},
  };
  for (const auto& [text, json] : cases) {
    auto r = show_json(text);
    EXPECT_EQ(r.index() == 0 ? std::get<0>(r) : std::get<1>(r).message, json) << text;
  }
}

}  // namespace
