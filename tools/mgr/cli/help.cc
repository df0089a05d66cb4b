#include <string>

#include "cli.h"

namespace ofa::mgr::cli {
namespace {

constexpr const char* kOverview = R"(usage: ofa-mgr [options] COMMAND [args]

The manager's side of the manager socket of an openflowAgtd.

commands:
  listen              print everything the agent sends (registrations, statuses, statistics)
  send OPERATION      send one operation, written as a scenario line, and show the answer
  run FILE            carry out a scenario file
  encode OPERATION    print the bytes of an operation in hex (-v: also every field)
  decode HEX          read a datagram given in hex and print its messages
  bench [SETTINGS]    install many flows and measure operations per second and latency
  help COMMAND        the help of one command

options (all commands):
  --run-dir DIR       run directory of the sockets (default $OFA_RUN_DIR or /tmp/ofa)
  --platform FILE     platform file (default $OFA_PLATFORM or the embedded ard switch)
  --slot N            the agent's slot (default: the platform's, or $OFA_SLOT)
  --timeout D         seconds to wait for answers (default 5; also 1.5s, 500ms)
  --json              JSON lines instead of aligned text (listen, decode)
  -v, --verbose       more detail
  -h, --help          this help; "ofa-mgr COMMAND --help" for one command

exit codes: 0 done, 1 an expectation failed or the agent could not be reached,
2 a bad command line or scenario line ("file:line: reason").
The syntax of operations is in docs/mgr.md.
)";

constexpr const char* kListen = R"(usage: ofa-mgr listen [--json] [--count N] [--timeout D]

Binds the manager's end point pq6/ofmgragt.mp under the run directory and prints every
message the agent sends, one line each:
  REGISTER     slot 1
  STATUS       flow 10  ADD_FLOW  success  cid 1  xid 7  3 ms  "reason text"
  FLOW STATS   flow 10  packets 5  bytes 320
  QUEUE STATS  port 3   q0 5p/320B
  METER STATS  1 record  [meter 1 in 640B drop 0B remark 0B]
With --json each message is one JSON object with every field. A datagram that cannot be read
is shown as BAD with the reason. --count ends after N messages, --timeout after D seconds;
otherwise Ctrl-C ends. Start it before the agent: the agent registers only once.
)";

constexpr const char* kSend = R"(usage: ofa-mgr send OPERATION...

Sends one operation, written as in a scenario file, for example
  ofa-mgr send flow add id=10 priority=100 in_port=3,dl_type=0x0800 actions=output:5
  ofa-mgr send port enable 3 pvid=100
  ofa-mgr send vlan add vlan=100 iivid=4000
  ofa-mgr send evt add port=5 iivid=4011 type=vlan in_vlan=200 out_vlan=300 tag_action=1
  ofa-mgr send evt delete port=5 iivid=all type=port out_vlan=300
  ofa-mgr send raw 01c00008 00000000 00000001
If the manager's end point is free, send binds it and shows the answer: the status of a flow
operation (waiting at most --timeout), or whatever else arrives shortly after.
)";

constexpr const char* kRun =
    R"(usage: ofa-mgr run [-v] [--timeout D] [--dry-run] [--agent-log FILE] FILE

Carries out a scenario: one operation per line, '#' comments, blank lines allowed.
  wait registration [timeout=D]
  openflow enable
  port enable 3 pvid=100
  flow add id=10 priority=100 in_port=3,dl_vlan=100 actions=output:5
  expect status 10 success
  expect status 11 failure text ~ "FLOW ID ZERO"   (text = "...": the whole text)
  expect no status 12 timeout=1
  barrier [timeout=D]       (waits until the agent has handled everything sent before)
  expect flow-stats 10 packets>=1      (also queue-stats PORT [queue=Q], meter-stats ID)
  pack                      (messages up to 'end' go out in one datagram)
  raw 01c00008 00000000     (bytes as they stand)
  sleep 500ms
  chip fault port_vpn -5    (a control command to the chip simulator of the slot)
  expect chip port 3 pvid=4004 nhop=-   (also vlan, mgid, nhop ID; xlate PORT IIVID; region
                            LDEV REGION; policer ID INSTANCE; absent; chip=IFINDEX)
  expect chip xlate port=5 iivid=4011 vlan=300 tagged=1   (or: absent)
  expect chip l2 iivid=4011 mac=00:00:00:00:00:01 port=5   (exact-match entries; or: absent)
  expect chip requests=0    (simulator counters since the last barrier)
  expect log ~ "enabled openflow port: 3"   (in the --agent-log file, after the last match)
  expect show "vlan all" ~ "Vlan Id: 100"   (the agent's answer to a show request, as ofactl)
  expect show "flow_tree" == tree.txt       (... whole, as the file next to the scenario)
Each line prints what happened; a failed expectation prints what was expected and what came,
and the run goes on and ends with exit code 1. A bad line is reported as file:line: reason
before anything is sent (exit code 2). -v also prints every message the agent sends.
--dry-run checks the file and lists the steps with their sizes (-v: their bytes) without
sending anything.
)";

constexpr const char* kEncode = R"(usage: ofa-mgr encode [-v] OPERATION...

Prints the datagram of an operation in hex, one line per datagram (a flow with fragment=N
makes several), without sending it; -v adds every field.
  ofa-mgr encode -v meter add id=1 kbps band=type=drop,rate=1000
)";

constexpr const char* kDecode = R"(usage: ofa-mgr decode [--json] HEX...

Reads a datagram written in hex (blanks and ':' allowed) and prints each message with every
field, or the reason it cannot be read (exit code 1).
  ofa-mgr decode 02c00008 02c00004 00000001
)";

constexpr const char* kBench =
    R"(usage: ofa-mgr bench [--setup FILE] [--json] [flows=N] [order=ORDER] [window=N] [delete] [...]

Installs N flows on a running agent and reports, per phase, the operations per second, the
milliseconds per 1000 operations (whole phase, first 1000, last 1000) and the latency of the
statuses (50th, 90th, 99th percentile, maximum). Then it measures a bare AF_UNIX SEQPACKET
round trip of 128 bytes, both ends on one CPU (pinned) and not, to compare an add against.
  --setup FILE       a scenario run first (ports, VLANs, default action...)
  flows=N            how many (default 1000), ids from first-id=N (default 1)
  order=ORDER        priorities ascending (default), descending, same or random (seed=N)
  priority=N         the lowest priority (default 1000)
  window=N           adds in flight (default 1: each waits for its status)
  --in-port P        match port (default 3); out-port=P output port (default 5)
  --remote-port P    flows from number --on-chip N on (default 49999) match port P instead
  --keys K           shared (default: the key the actions give, one chain) or distinct (one
                     key a flow)
  delete             delete the flows again, timed up to the status of a barrier
  round-trips=N      socket round trips of each kind (default 5000, 0: none)
  --json             all figures as one JSON object
  groups=N           N groups instead of flows: type=all|select|indirect|ff (default all),
                     buckets=B (default 4; past 64 the message grows); added, then deleted
  meters=N           N meters instead of flows: bands=1|2 (default 2); added, then deleted
  vlans=N            N VLANs (IIVID 7168 + id) instead of flows, on ports=P ports (default 48):
                     phases ports (enabled), vlans (added), members (every port in every
                     VLAN; batch=N of them a datagram, default 1), disable (openflow disable)
Groups, meters and VLAN runs draw no status: each phase sends its messages back to back and ends with the
status of a barrier behind them, so it has no latency figures.
Each flow matches in_port, IPv4 and its own destination 10.x.y.z/32. Options may also be
written as words (in-port=P). On a terminal a progress line shows the count and rate. Statuses
missing for --timeout end the phase; they, failures and a failed setup give exit code 1.
)";

}  // namespace

const char* help_text(const std::string& command) {
  if (command == "listen") return kListen;
  if (command == "send") return kSend;
  if (command == "run") return kRun;
  if (command == "encode") return kEncode;
  if (command == "decode") return kDecode;
  if (command == "bench") return kBench;
  return kOverview;
}

}  // namespace ofa::mgr::cli
