// What the agent learns of the hardware before anything is programmed: profiles, TCAM sizes,
// the resource record's ranges, this slot and its chips.
#include <cstdio>

#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/top/openflow_agt_main.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "backends/chip_family.h"
#include "platform/wire.h"

int ofa_get_hw_resrc_info() {
  ofa_hw_resources& hw = openflowAgtPcb.hw;
  ofa_trace(OFACORE, 7, 0, OFA_TR_HW_RESOURCE_INFO, "OPENFLOW Agent get hw resource info");
  hw = ofa_hw_resources{};
  hw.tcam_pid = platsys_get_hwprofile();
  hw.route_pid = platsys_get_profile();
  if (hw.tcam_pid != OF_HW_PROFILE_OPENFLOW) {
    ofa_trace(OFACORE, 3, 1, OFA_TR_HW_PROFILE_NOT_SET,
              "OPENFLOW hw profile not set. Current profile id:%d", hw.tcam_pid);
    return 0;
  }
  ofa_trace(OFACORE, 7, 2, OFA_TR_HW_PROFILES, "tcam_pid:%d route_pid:%d", hw.tcam_pid,
            hw.route_pid);
  hw.of_flags |= OF_PROFILE;
  hw.l2tcam_size = platsys_get_tcam_size_by_pid(hw.tcam_pid, 10);
  hw.l3tcam_size = platsys_get_tcam_size_by_pid(hw.tcam_pid, 23);
  ofa_trace(OFACORE, 7, 2, OFA_TR_HW_TCAM_SIZES, "l2tcam_size:%d l3tcam_size:%d", hw.l2tcam_size,
            hw.l3tcam_size);

  void* handle = nullptr;
  int rc = sysModInit(&handle);
  if (rc != 0 || !handle) {
    ofa_trace(OFACORE, 1, 1, OFA_TR_HW_SYS_INIT_FAILED,
              "Openflow system initilization failed rc %d", rc);
    return OFA_E_GENERIC;
  }
  uint8_t record[SYS_RESOURCE_RECORD_SIZE] = {};
  rc = sysCtrlGetResourceLimits(handle, 2, record, sizeof record);
  if (rc != 0) {
    ofa_trace(OFACORE, 1, 1, OFA_TR_HW_SYS_PARAM_FAILED,
              "Openflow get system parameter failed rc %d", rc);
    return OFA_E_GENERIC;
  }
  ofa::wire::Reader r(record, sizeof record);
  uint32_t family = of_chip_family();
  hw.limit_52 = r.u32_at(52);
  hw.limit_56 = r.u32_at(56);
  hw.iivid_min = r.u32_at(104);
  hw.iivid_max = r.u32_at(108);
  hw.mgid_start = r.u32_at(96);
  hw.mgid_end = r.u32_at(100);
  hw.policer_start = r.u32_at(112);
  hw.policer_end = r.u32_at(116);
  hw.nhop_start = OF_NHOP_START;
  hw.nhop_end = OF_NHOP_END;
  hw.dflt_iivid = hw.iivid_min + of_dflt_ivid_offset[family];
  hw.dflt_mgid = (hw.mgid_start - hw.iivid_min) + hw.dflt_iivid;
  hw.all_ports_iivid = hw.iivid_min + 1 + of_dflt_ivid_offset[family];
  hw.all_ports_mgid = (hw.mgid_start - hw.iivid_min) + hw.all_ports_iivid;
  openflowAgtPcb.my_slot = dpx_ni_my_slot();
  rc = sysCtrlGetSlotParameters(handle, openflowAgtPcb.my_slot, &hw.slot_params);
  if (rc != 0) {
    file_printf("%s: Openflow get slot parameter failed rc %d", __func__, rc);
    return OFA_E_GENERIC;
  }
  sysModClose(&handle);
  return 0;
}
