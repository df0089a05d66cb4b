#include "bench_agent.h"

#include <variant>

#include "adapter/chip_up.h"
#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/top/openflow_agt_main.h"
#include "chip/chip_event.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "platform/ifindex.h"
#include "platform/platform_file.h"
#include "platform/system.h"

bool bench_chips_up(uint32_t count) {
  for (uint32_t c = 0; c < count; ++c) {
    of_chip_event_record rec;
    rec.event = OF_HSL_EVENT_CHIP_UP;
    rec.slot = 1;
    rec.local_chip_id = c;
    rec.flat_chip_id = c;
    rec.ifindex = ofa::platform::chip_ifindex(1, c);
    rec.chip_type = 1;
    if (ofProcessChipAdd(&rec, 0) != 0) return false;
  }
  return true;
}

bool bench_start_agent(const char* platform_text, ofNLIoctlFn ioctl) {
  ofa_reset_all();
  auto parsed = ofa::platform::parse_platform(platform_text, "bench");
  auto* p = std::get_if<ofa::platform::Platform>(&parsed);
  if (!p) return false;
  ofa_sys_set(*p);
  ofNLSetIoctlHook(ioctl);
  openflowAgtPcb.model = 131;
  if (ofa_get_hw_resrc_info() != 0) return false;
  ofInitSlotTable();
  ofInitChipTable();
  ofInitIfTable();
  openflow_modules[OF_MODULE_AGT].chip_up = ofa_chip_up;
  return bench_chips_up(2);
}
