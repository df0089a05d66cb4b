// The operation words of the scenario syntax, each turned into one message:
//
//   flow add id=10 priority=100 in_port=3,dl_type=0x0800,nw_src=10.0.0.0/8 actions=output:5
//   group add id=5 type=all mgid=4000 bucket=output:3,vlan:100
//   meter add id=1 kbps band=type=drop,rate=1000,burst_size=0
//   vlan add vlan=100 iivid=4000          port-vlan add port=3 vlan=100
//   evt add port=3 iivid=4000 type=vlan in_vlan=100 tag_action=1 out_vlan=200
//   openflow enable | port enable 3 l3 pvid=100 | port online 3 | default-action controller
//   protected-vlan add 3,5 pvid=100 | config sub=7 add=1 | sync-complete
//
// docs/mgr.md has the full syntax.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "codec.h"
#include "messages.h"
#include "platform/platform_file.h"

namespace ofa::mgr {

// What the syntax needs from the switch: the slot (interface indexes) and the platform (port
// names) for the defaults of a port configuration.
struct ParseContext {
  uint32_t slot = 1;
  const platform::Platform* platform = nullptr;
};

// words[0] is the operation ("flow", "group", ...). The error names the word at fault.
Result<Message> parse_operation(std::span<const std::string> words, const ParseContext& ctx);

// True when words[0] names an operation that parse_operation knows.
bool is_operation(std::string_view word);

// The parts, for tests: words after "flow", "group" and "meter".
Result<FlowMsg> parse_flow(std::span<const std::string> words);
Result<GroupMsg> parse_group(std::span<const std::string> words);
Result<MeterMsg> parse_meter(std::span<const std::string> words);

}  // namespace ofa::mgr
