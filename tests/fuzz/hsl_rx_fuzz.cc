// Messages from the hardware services layer: responses, packets and events, handed to their
// receive callbacks the way the socket readers hand them over, in the state of an `ard` LP in
// slot 1 after a cold start. An input is a run of messages:
//
//   byte 0   which chip requests the in-process HSL refuses (bit n: requests n, n+8, ...)
//   byte 1   bits 0-1 the switch model (ard, ard2, zim, one of no family), bit 2 the OpenFlow
//            hardware profile off, bit 3 the catch-all sends to the controller
//   then, per message:
//     u8   bits 0-1 the callback (0 response, 1 packet, 2 and 3 event),
//          bits 2-3 the envelope type (203 command, 2 error, 4 done, 0)
//     u16  payload size (cut to what is left)
//     the payload
//
// Every input starts from empty slot, chip and interface tables; after it the tables hold only
// chips of the platform, each in its own slot's list and found again by its key.
#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

#include "adapter/chip_up.h"
#include "agent/agent_globals.h"
#include "agent/top/rsm.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "foundation/avl_tree.h"
#include "platform/msg_queue.h"
#include "platform/platform_file.h"
#include "platform/system.h"
#include "platform/wire.h"

namespace {

void check(bool ok) {
  if (!ok) __builtin_trap();
}

uint8_t g_refuse = 0;
size_t g_requests = 0;

// The in-process HSL: every request is answered in place, with status -5 when refused. A
// request must fit the buffer and carry its own size in the envelope.
int fake_ioctl(int, uint8_t* buf, uint32_t len, uint32_t cap) {
  check(len >= OF_NL_REQ_OFFSET && len <= cap && ofa::wire::Reader(buf, len).u32_at(0) == len);
  bool refuse = (g_refuse >> (g_requests++ % 8)) & 1;
  ofa::wire::Writer(buf, cap).u32_at(OF_NL_STATUS_OFFSET, refuse ? static_cast<uint32_t>(-5) : 0u);
  return 0;
}

// An `ard` LP in slot 1 with two chips (ports 1-24, 25-48) and a remote chip in slot 2.
constexpr const char* kPlatform =
    "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
    "my_slot = 1\n[ports]\ncount = 96\n[slot 1]\nchip.0.type = 1\nchip.0.ports = 1-24\n"
    "chip.1.type = 1\nchip.1.ports = 25-48\n[slot 2]\nchip.0.type = 1\nchip.0.ports = 1-48\n";

void setup_once() {
  auto parsed = ofa::platform::parse_platform(kPlatform, "hsl_rx_fuzz");
  check(std::holds_alternative<ofa::platform::Platform>(parsed));
  ofa_sys_set(std::get<ofa::platform::Platform>(parsed));
  openflowRsmReset();
  of_corvu_state.msgq = msgQCreate(16, 1072, 0, "hsl-rx-fuzz");
  check(openflowRsmInit() == 0);
  ofNLSetIoctlHook(fake_ioctl);
}

// Agent globals and empty tables, as before the first event of a cold start.
constexpr uint32_t kModels[4] = {131, 153, 1004, 2000};

void reset_state(uint8_t refuse, uint8_t setup) {
  ofResetIfTable();
  ofResetChipTables();
  openflowAgtPcb.model = kModels[setup & 3];
  openflowAgtPcb.my_slot = 1;
  openflowAgtPcb.hw = ofa_hw_resources{};
  openflowAgtPcb.hw.of_flags = (setup & 4) ? 0 : OF_PROFILE;
  openflowAgtPcb.hw.l2tcam_size = 2048;
  openflowAgtPcb.hw.l3tcam_size = 2048;
  g_openflow_lp.default_action = (setup >> 3) & 1;
  check(ofInitChipTable() == 0);
  check(ofInitIfTable() == 0);
  for (auto& m : openflow_modules)
    m = openflow_module{};
  openflow_modules[OF_MODULE_AGT].chip_up = ofa_chip_up;
  openflow_modules[OF_MODULE_AGT].chip_warm_up = ofa_region_del;
  openflowRsmRecover(1002);
  debugOpenflow = 0;
  g_refuse = refuse;
  g_requests = 0;
}

// Every chip of the table is a chip of the platform under its own key, linked into the list of
// the slot it came in with; the slot lists hold nothing else.
void check_tables() {
  int in_tree = 0;
  avl_node* cur = nullptr;
  for (of_chip_entry* c = ofGetFirstChip(&cur); c; c = ofGetNextChip(&cur)) {
    ++in_tree;
    check(of_dce_get_flat_chip_id(c->ifindex) == static_cast<int32_t>(c->chip_id));
    check(ofLookupChip(c->chip_id) == c);
    check(c->slot_entry == ofLookupSlot(c->slot) && c->slot_link.item == c);
    if (openflowAgtPcb.hw.of_flags & OF_PROFILE) check(c->l2_flow_tree && c->l3_flow_tree);
  }
  check(in_tree == avl_get_tree_size(ofChipTable));
  int in_slots = 0;
  for (uint32_t s = 0; s <= OF_MAX_SLOTS; ++s) {
    const of_dlist& head = ofLookupSlot(s)->chips;
    for (const of_dlist* l = head.next; l && l != &head; l = l->next) {
      check(l->next->prev == l);
      ++in_slots;
    }
  }
  check(in_slots == in_tree);
  check(of_get_port_count() == 0);
}

constexpr uint16_t kTypes[4] = {OF_NLMSG_COMMAND, OF_NLMSG_ERROR, OF_NLMSG_DONE, 0};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setup_once();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ofa::wire::Reader in(data, size);
  uint8_t refuse = in.u8();
  reset_state(refuse, in.u8());
  while (in.ok() && in.remaining() > 0) {
    uint8_t sel = in.u8();
    uint16_t len = in.u16();
    if (!in.ok()) break;
    size_t take = len < in.remaining() ? len : in.remaining();
    auto bytes = in.sub(take).data();
    // A buffer of exactly the message's size, so a read past it is caught.
    std::vector<uint8_t> msg(bytes.begin(), bytes.end());
    auto n = static_cast<uint32_t>(msg.size());
    uint16_t type = kTypes[(sel >> 2) & 3];
    switch (sel & 3) {
      case 0:
        ofProcessHslResp(msg.data(), n, 0, type);
        break;
      case 1:
        ofProcessHslPkt(msg.data(), n, 0, type);
        break;
      default:
        ofProcessHslEvent(msg.data(), n, 0, type);
        break;
    }
    check_tables();
  }
  ofResetIfTable();
  ofResetChipTables();
  return 0;
}
