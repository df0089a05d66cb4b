#include "requests.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "client.h"

namespace ofa::ofactl {

const char* const kHelp =
    "usage: ofactl [--run-dir D] [--platform F] [--slot N] [--timeout T] [--json] [--raw]\n"
    "              REQUEST...\n"
    "\n"
    "Asks the openflowAgtd of one slot what it holds, through its debug client socket\n"
    "<run dir>/qcf/ofagt_p<slot>, and prints the answer byte for byte.\n"
    "\n"
    "Show requests (N a decimal number):\n"
    "  flow_tree                     the flow table in flow order\n"
    "  flow [all]                    every flow in detail, by flow id (the first 5000)\n"
    "  flow N                        flow N, cut out of that list\n"
    "  chip all | chip N             the chip table, or one chip\n"
    "  chip N l2flow_tree|l3flow_tree  a chip's L2 or L3 flow tree\n"
    "  port all | port N             OpenFlow ports\n"
    "  vlan all | vlan N             VLANs (-1: the all-ports VLAN)\n"
    "  group all | group N           groups\n"
    "  meter all | meter N           meters\n"
    "  evt all | evt N               egress VLAN translations of all ports, or of port N\n"
    "  l2fwd_info                    L2 forwarding entries\n"
    "\n"
    "Other requests:\n"
    "  debug WORDS...  the agent's debug text, answered with its debug bits:\n"
    "                  events on|off, log all|hardware|generic|config|forwarding|ipc|meter|\n"
    "                  group|flow on|off, trace core|msg|ioctl|pkt LEVEL (emergency ... verbose)\n"
    "  log             follow the debug channel (bit 17: `debug events on`), a line per text\n"
    "  ping            time the agent's IPC end point (answer 0xbaadbabe)\n"
    "  sched           the scheduler's accounting: for each callback the calls, the total and\n"
    "                  the longest run time in microseconds, heaviest first; last, the loop's\n"
    "                  passes (the longest time the agent did not look at its sockets)\n"
    "  help            this text\n"
    "\n"
    "Options:\n"
    "  --run-dir D    run directory of the sockets (default $OFA_RUN_DIR or /tmp/ofa)\n"
    "  --platform F   platform file, for this LP's slot (default $OFA_PLATFORM or the embedded\n"
    "                 switch)\n"
    "  --slot N       the agent's slot (default: the platform's)\n"
    "  --timeout T    how long to wait for the answer (default 5s; 2, 1.5s, 500ms)\n"
    "  --json         the answer as JSON lines, one object per block or row\n"
    "  --raw          send the words as they stand as a show request, unchecked\n"
    "\n"
    "Exit: 0 answered, 1 no agent, no answer in time or an unreadable answer, 2 usage error or\n"
    "a run directory refused (not the user's own, or writable by group or others).\n";

namespace {

bool is_number(const std::string& w) {
  if (w.empty() || w.size() > 10) return false;
  for (char c : w)
    if (c < '0' || c > '9') return false;
  return std::strtoull(w.c_str(), nullptr, 10) <= 0xffffffffull;
}

bool all_or_number(const std::string& w) {
  return w == "all" || is_number(w);
}

std::string join(const std::string& command, const std::vector<std::string>& args) {
  std::string t = command;
  for (const std::string& a : args)
    t += " " + a;
  return t;
}

}  // namespace

std::variant<Request, std::string> read_request(const std::string& command,
                                                const std::vector<std::string>& args, bool raw) {
  const std::string words = join(command, args);
  if (command.empty()) return std::string("no request");
  if (raw) return Request{kCodeShow, words, std::nullopt};
  const size_t n = args.size();
  auto bad = [&] { return std::string("unknown request '" + words + "'"); };
  if (command == "sched" || command == "log" || command == "ping") {
    if (n) return bad();
    return Request{command == "sched" ? kCodeSched
                   : command == "log" ? kCodeFollow
                                      : kCodePing,
                   "", std::nullopt};
  }
  if (command == "debug") {
    if (!n) return std::string("debug needs its words");
    return Request{kCodeDebug, words.substr(6), std::nullopt};
  }
  if (command == "flow_tree" || command == "l2fwd_info") {
    if (n) return bad();
    return Request{kCodeShow, command, std::nullopt};
  }
  if (command == "flow") {
    if (n > 1 || (n == 1 && !all_or_number(args[0]))) return bad();
    if (n == 1 && args[0] != "all") {
      return Request{kCodeShow, "flow all",
                     static_cast<uint32_t>(std::strtoull(args[0].c_str(), nullptr, 10))};
    }
    return Request{kCodeShow, "flow all", std::nullopt};
  }
  if (command == "chip") {
    bool ok =
        (n == 1 && all_or_number(args[0])) ||
        (n == 2 && is_number(args[0]) && (args[1] == "l2flow_tree" || args[1] == "l3flow_tree"));
    if (!ok) return bad();
    return Request{kCodeShow, words, std::nullopt};
  }
  if (command == "port" || command == "vlan" || command == "group" || command == "meter") {
    if (n != 1 || !all_or_number(args[0])) return bad();
    return Request{kCodeShow, words, std::nullopt};
  }
  if (command == "evt") {
    if (n != 1 || !all_or_number(args[0])) return bad();
    return Request{kCodeShow, "evt port " + args[0], std::nullopt};
  }
  return bad();
}

std::optional<std::string> flow_of_list(const std::string& list, uint32_t id) {
  constexpr std::string_view kRemote = "[Flow not in this LP]\n";
  const std::string head = "Flow Id: " + std::to_string(id) + ", ";
  // A block starts at its "Flow Id" line, or at the remote mark in front of it.
  std::vector<size_t> starts;
  bool after_remote = false;
  for (size_t at = 0; at < list.size();) {
    size_t next = std::min(list.find('\n', at), list.size() - 1) + 1;
    std::string_view line(list.data() + at, next - at);
    if (line == kRemote || (line.starts_with("Flow Id: ") && !after_remote)) starts.push_back(at);
    after_remote = line == kRemote;
    at = next;
  }
  const size_t end = list.ends_with("\n") ? list.size() - 1 : list.size();  // the closing newline
  for (size_t i = 0; i < starts.size(); ++i) {
    size_t from = starts[i];
    size_t to = i + 1 < starts.size() ? starts[i + 1] : end;
    size_t flow_line =
        list.compare(from, kRemote.size(), kRemote) == 0 ? from + kRemote.size() : from;
    if (list.compare(flow_line, head.size(), head) == 0) return list.substr(from, to - from) + "\n";
  }
  if (starts.size() >= kFlowListMax) return std::nullopt;
  return "Error: Cannot find the flow entry for flow id :" + std::to_string(id) + "\n\n";
}

bool channel_on(const std::string& debug_word) {
  constexpr std::string_view kHead = "debugOpenflow 0x";
  if (!debug_word.starts_with(kHead)) return false;
  return (std::strtoul(debug_word.c_str() + kHead.size(), nullptr, 16) & 0x20000) != 0;
}

}  // namespace ofa::ofactl
