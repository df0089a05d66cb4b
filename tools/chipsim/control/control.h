// The control protocol of the simulator: one text command per line, one JSON answer per line.
//
//   dump | stats | check | reset | help
//   show [ports [ID] | vlans [ID|all] | xlate [PORT] | l2]
//   query port ID | vlan ID|all | xlate PORT IIVID | region LDEV REGION | l2 IIVID MAC
//         [chip IFINDEX]
//   fault <command> <status> [once | times N | from N] [chip IFINDEX]
//   fault clear [command]   fault list
//   event chip-up|chip-down|slot-up|slot-down|ignored [slot N] [chip N] [class N]
//         [close none | close type N]
//   event error [code N] [type N] [seq N]
//   traffic all <packets> <bytes>
//   traffic entry <ldev> <region> <handle> <packets> <bytes> [chip IFINDEX]
//   traffic policer <id> <instance> <first> <second> [chip IFINDEX]
//   traffic queue <ifindex> <queue> <packets> <bytes> [chip IFINDEX]
//
// Answers are {"ok":true,...} or {"ok":false,"error":"..."}. No sockets here: events leave
// through the sender the server gives.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/model.h"

namespace ofa::chipsim {

// Sends one event datagram to the agent; answers an error text, or nothing on success.
using EventSender = std::function<std::optional<std::string>(std::span<const uint8_t>)>;

struct ServerCounters {
  uint64_t events_sent = 0;
  uint64_t event_failures = 0;
  uint64_t agent_connections = 0;
  uint64_t control_commands = 0;
};

struct Control {
  Model& model;
  EventSender send;
  std::vector<uint32_t> slots;  // slots of the platform, for slot events
  ServerCounters counters;
  uint32_t event_seq = 0;
};

std::string control_command(Control& c, std::string_view line);

// Slot-up for every slot, then chip-up for every chip: what a cold start sees. Answers the
// number sent, or an error text.
std::string send_startup_events(Control& c);

}  // namespace ofa::chipsim
