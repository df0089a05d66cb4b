// What the flow syntax builds while it reads a line: the message and what it derives from the
// words (wildcards, rule kind, controller output). Shared by the match and action readers.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "messages.h"

namespace ofa::mgr::detail {

struct FlowBuild {
  FlowMsg m;
  uint32_t cleared = 0;  // wildcard bits of the match fields given
  bool l3 = false;       // an L3 or L4 field was given
  bool id_given = false;
  std::optional<uint32_t> wildcards, rule_kind, action_key;
  std::optional<uint8_t> forward, send_to_ctrl;
  std::optional<uint16_t> member_len;
  std::vector<std::string> v4_only;  // version-4-only items used, for the version check
  bool to_controller = false, drop = false;
};

// Reads the action list (the words after actions=, joined by commas) into members.
std::optional<std::string> parse_actions(FlowBuild& b, std::string_view list);

}  // namespace ofa::mgr::detail
