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
#include <vector>

#include "agent/agent_globals.h"
#include "agent/top/rsm.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "foundation/avl_tree.h"
#include "platform/ifindex.h"
#include "platform/wire.h"

#include "agent_reset.h"
#include "fake_hsl.h"
#include "tool_checks.h"

namespace {

using ofa::fuzz::check;

constexpr uint32_t kModels[4] = {131, 153, 1004, 2000};

// An `ard` LP in slot 1 with two chips (ports 1-24, 25-48) and a remote chip in slot 2, as before
// the first event of a cold start; the fake HSL refuses request n when bit n % 8 of `refuse` is
// set.
void reset_state(uint8_t refuse, uint8_t setup) {
  ofa::test::reset_agent({.chips = 2,
                          .model = kModels[setup & 3],
                          .profile = (setup & 4) == 0,
                          .default_action = (setup >> 3) & 1u});
  ofa::test::register_with_stage_driver();
  openflowRsmRecover(1002);
  ofa::test::fake_hsl().fail_if = [refuse](size_t n) { return (refuse >> (n % 8)) & 1; };
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
// The receive callbacks of responses, packets and events, as the socket readers call them.
constexpr int (*kCallbacks[4])(uint8_t*, uint32_t, uintptr_t, uint16_t) = {
    ofProcessHslResp, ofProcessHslPkt, ofProcessHslEvent, ofProcessHslEvent};

}  // namespace

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
    kCallbacks[sel & 3](msg.data(), n, 0, kTypes[(sel >> 2) & 3]);
    check_tables();
    check(ofa::test::fake_hsl().envelope_ok);
  }
  ofa::test::reset_agent();
  return 0;
}
