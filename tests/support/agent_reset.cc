#include "agent_reset.h"

#include <string>
#include <variant>

#include "adapter/chip_up.h"
#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "fake_hsl.h"
#include "platform/ifindex.h"
#include "platform/system.h"

namespace ofa::test {

static platform::Platform test_platform(int chips) {
  std::string text =
      "[switch]\nmodel = 131\nhw_profile = 7\nl2_tcam_size = 2048\nl3_tcam_size = 2048\n"
      "my_slot = 1\n[ports]\ncount = 96\n[slot 1]\n";
  for (int c = 0; c < chips; ++c) {
    std::string id = "chip." + std::to_string(c);
    text += id + ".type = 1\n" + id + ".ports = " + std::to_string(1 + 24 * c) + "-" +
            std::to_string(24 + 24 * c) + "\n";
  }
  text += "[slot 2]\nchip.0.type = 1\nchip.0.ports = 1-48\n";
  auto parsed = platform::parse_platform(text, "test");
  auto* p = std::get_if<platform::Platform>(&parsed);
  return p ? *p : platform::Platform{};
}

void reset_agent(const AgentSetup& s) {
  ofa_reset_all();
  ofa_sys_set(test_platform(s.chips));
  openflowAgtPcb.model = s.model;
  openflowAgtPcb.my_slot = 1;
  openflowAgtPcb.hw.of_flags = s.profile ? OF_PROFILE : 0;
  openflowAgtPcb.hw.l2tcam_size = 2048;
  openflowAgtPcb.hw.l3tcam_size = 2048;
  g_openflow_lp.default_action = s.default_action;
  ofInitSlotTable();
  ofInitChipTable();
  ofInitIfTable();
  openflow_modules[OF_MODULE_AGT].chip_up = ofa_chip_up;
  openflow_modules[OF_MODULE_AGT].chip_warm_up = ofa_region_del;
  install_fake_hsl();
}

of_chip_event_record chip_up_record(uint32_t slot, uint32_t local) {
  of_chip_event_record rec;
  rec.event = OF_HSL_EVENT_CHIP_UP;
  rec.slot = slot;
  rec.local_chip_id = local;
  rec.flat_chip_id = static_cast<uint32_t>(ofa_sys_platform().flat_chip_id(slot, local));
  rec.ifindex = platform::chip_ifindex(slot, local);
  rec.chip_type = 1;
  return rec;
}

int chip_up(uint32_t slot, uint32_t local, int warm) {
  of_chip_event_record rec = chip_up_record(slot, local);
  return ofProcessChipAdd(&rec, warm);
}

of_if_entry* add_port(uint16_t id, uint32_t slot, uint32_t fp, bool l3, bool enabled) {
  std::string name = "ethernet" + std::to_string(slot) + "/" + std::to_string(fp);
  of_if_entry* e = ofProcessPortAdd(platform::port_ifindex(slot, fp), name.c_str(), id);
  if (e) {
    e->of_enabled = enabled ? 1 : 0;
    e->of_l3_type = l3 ? 1 : 0;
    e->l3_mode = l3 ? 1 : 0;
  }
  return e;
}

void set_test_iivids() {
  ofa_hw_resources& hw = openflowAgtPcb.hw;
  hw.iivid_min = 4000;
  hw.iivid_max = 4999;
  hw.mgid_start = 8000;
  hw.dflt_iivid = 4004;
  hw.dflt_mgid = 8004;
  hw.all_ports_iivid = 4005;
  hw.all_ports_mgid = 8005;
}

}  // namespace ofa::test
