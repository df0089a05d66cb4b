// One start for every agent test: all agent globals back to their start (each module registers
// its own reset), the platform of the case, the records an `ard` LP holds after start-up, empty
// slot, chip and interface tables, the chip-up callbacks of the agent module and the fake HSL.
#pragma once

#include <cstdint>

#include "agent/agent_globals.h"
#include "agent/top/rsm.h"
#include "chip/chip_event.h"
#include "chip/if_table.h"
#include "platform/msg_queue.h"
#include "platform/platform_file.h"

namespace ofa::test {

// The agent starts on a platform of model 131 with `chips` chips in slot 1 (ports 1-24 on chip 0,
// 25-48 on chip 1, ...) and one remote chip in slot 2.
struct AgentSetup {
  int chips = 1;
  uint32_t model = 131;
  bool profile = true;  // the OpenFlow hardware profile
  uint32_t default_action = 0;
};
void reset_agent(const AgentSetup& setup = {});

// The chip-up record of chip `local` of `slot` (type 1), and that event on the agent, cold
// (warm = 0) or warm: 0 or the add's code.
of_chip_event_record chip_up_record(uint32_t slot, uint32_t local);
int chip_up(uint32_t slot, uint32_t local, int warm = 0);
// An interface entry: port `id` at front-panel port `fp` of `slot`, OpenFlow enabled or not.
of_if_entry* add_port(uint16_t id, uint32_t slot, uint32_t fp, bool l3 = false,
                      bool enabled = true);

// The IIVID range of the port and VLAN tests on `ard`: IIVIDs 4000-4999, mgids from 8000, the
// default IIVID 4004 (mgid 8004) and the all-ports IIVID 4005 (mgid 8005).
void set_test_iivids();

// Registers with the stage driver (the stage is Standby then) and drops the stage it posts; for
// tests that link the agent's top.
inline void register_with_stage_driver() {
  static MSG_Q_ID q = msgQCreate(16, 1072, 0, "agent-test");
  of_corvu_state.msgq = q;
  openflowRsmInit();
  uint8_t msg[1072];
  while (msgQReceive(q, msg, sizeof msg, 0) > 0) {
  }
}

}  // namespace ofa::test
