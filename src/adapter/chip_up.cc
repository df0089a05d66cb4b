#include "adapter/chip_up.h"

#include <algorithm>

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/status.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/chip_flow_tree.h"
#include "chip/chip_table.h"

int ofa_region_add(of_chip_entry* chip) {
  of_chip_fn fn = of_chip_op(of_chip_reg_add_ioctl_fn);
  if (!fn) {
    file_printf("OPENFLOW no region add handler for chip: %d", chip->chip_id);
    return OFA_E_NO_HANDLER;
  }
  int rc = fn(chip);
  if (rc != 0) file_printf("OPENFLOW Unable to add region for chip %d, rc: %d", chip->chip_id, rc);
  return rc;
}

int ofa_region_del(of_chip_entry* chip) {
  of_chip_fn fn = of_chip_op(of_chip_reg_del_ioctl_fn);
  if (!fn) {
    file_printf("OPENFLOW no region delete handler for chip: %d", chip->chip_id);
    return OFA_E_NO_HANDLER;
  }
  int rc = fn(chip);
  if (rc != 0)
    file_printf("OPENFLOW Unable to delete region for chip %d, rc: %d", chip->chip_id, rc);
  return rc;
}

int ofa_setup_default_tcam_entries(of_chip_entry* chip) {
  of_chip_action_fn fn = of_chip_op(of_def_ent_add_ioctl_fn);
  if (!fn) {
    file_printf("No default tcam entry handler for chip: %d", chip->chip_id);
    return 0;
  }
  int rc = fn(chip, g_openflow_lp.default_action);
  if (rc != 0)
    file_printf("Unable to add default tcam entry for chip %d, rc: %d", chip->chip_id, rc);
  return rc;
}

int ofa_chip_up(of_chip_entry* chip) {
  ofa_trace(OFACORE, 5, 0, OFA_TR_CHIP_UP, "OPENFLOW Agent Chip Up received");
  if (!(openflowAgtPcb.hw.of_flags & OF_PROFILE)) {
    ofa_trace(OFACORE, 5, 0, OFA_TR_CHIP_UP_NOT_HANDLING, "OPENFLOW Agent chip up not handling");
    return 0;
  }
  of_chip_init_flow_table(chip);
  uint32_t fam = std::min(of_chip_family(), OF_FAMILY_COLUMNS - 1);
  const ofa_hw_resources& hw = openflowAgtPcb.hw;
  // A TCAM smaller than the held-back amount leaves no flow region rather than a wrapped size.
  uint32_t l2_hold = of_l2psel_reg_dflt_max[fam];
  uint32_t l3_hold = of_ipv4psel_reg_dflt_max[fam];
  chip->l2_size = hw.l2tcam_size > l2_hold ? hw.l2tcam_size - l2_hold : 0;
  chip->l3_size = hw.l3tcam_size > l3_hold ? hw.l3tcam_size - l3_hold : 0;
  ofa_region_add(chip);
  return ofa_setup_default_tcam_entries(chip);
}
