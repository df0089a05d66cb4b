// Each meter is one policer on every chip of the line processor, its id derived from the meter
// id. The walks take the chips in the table's order (highest flat id first), stop at the first
// chip that has no handler or refuses, and take nothing back.
#include <string>

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "agent/trace_ids.h"
#include "chip/chip_table.h"
#include "groups_meters/meter.h"

namespace {

of_policer_rate rate_of(const meter_config& c) {
  return {c.committed_rate, c.committed_burst, c.reserved,
          c.excess_rate,    c.excess_burst,    c.excess_prec_level};
}

struct walk_ids {
  uint32_t no_handler;
  uint32_t failed;
};

// fn(handler, chip) answers the handler's status; done(meter) runs after each chip that took it.
template <typename Fn, typename Call, typename Done>
int walk(const of_slot<Fn>& slot, meter_node* m, walk_ids ids, uint32_t policer_id, Call call,
         Done done) {
  avl_node* it = nullptr;
  for (of_chip_entry* chip = ofGetFirstChip(&it); chip; chip = ofGetNextChip(&it)) {
    Fn fn = of_chip_op(slot);
    if (!fn) {
      ofa_trace(OFACORE, 3, 2, ids.no_handler, "no handler for chip:%d policer_id:%d",
                chip->chip_id, policer_id);
      return 0;
    }
    int rc = call(fn, chip);
    if (rc != 0) {
      ofa_trace(OFACORE, 3, 3, ids.failed, "Unable to program flow for chip:%d policer_id:%d rc:%d",
                chip->chip_id, policer_id, rc);
      return 0;
    }
    done(m);
    policer_id = m->policer_id;
  }
  return 1;
}

int program(const of_slot<of_policer_fn>& slot, meter_node* m, const meter_config* config,
            walk_ids ids) {
  file_printf("Committed rate %s, max_burst %s\n", std::to_string(config->committed_rate).c_str(),
              std::to_string(config->committed_burst).c_str());
  file_printf("Excess rate %s, max_burst %s\n", std::to_string(config->excess_rate).c_str(),
              std::to_string(config->excess_burst).c_str());
  file_printf("min policer id %d\n", openflowAgtPcb.hw.policer_start);
  uint16_t id = of_meter_policer_id(m->meter_id);
  of_policer_rate rate = rate_of(*config);
  return walk(
      slot, m, ids, id, [&](of_policer_fn fn, of_chip_entry* chip) { return fn(chip, id, &rate); },
      [id](meter_node* n) { n->policer_id = id; });
}

}  // namespace

uint16_t of_meter_policer_id(uint32_t meter_id) {
  return static_cast<uint16_t>(openflowAgtPcb.hw.policer_start + (meter_id & 0xffff) - 1);
}

void openflow_dpx_init_meter_rl(meter_node* meter) {
  meter->policer_id = OF_METER_NO_POLICER;
}

int openflow_lp_dpx_create_meter(meter_node* meter, const meter_config* config) {
  return program(of_policer_add_ioctl_fn, meter, config,
                 {OFA_TR_DPX_POLICER_ADD_NO_HANDLER, OFA_TR_DPX_POLICER_ADD_FAILED});
}

int openflow_lp_dpx_modify_meter(meter_node* meter, const meter_config* config) {
  return program(of_policer_mod_ioctl_fn, meter, config,
                 {OFA_TR_DPX_POLICER_MOD_NO_HANDLER, OFA_TR_DPX_POLICER_MOD_FAILED});
}

int openflow_lp_dpx_delete_meter(meter_node* meter) {
  // Each chip is handed the id as it stands: after the first chip, 4096.
  return walk(
      of_policer_del_ioctl_fn, meter,
      {OFA_TR_DPX_POLICER_DEL_NO_HANDLER, OFA_TR_DPX_POLICER_DEL_FAILED}, meter->policer_id,
      [meter](of_policer_del_fn fn, of_chip_entry* chip) { return fn(chip, meter->policer_id); },
      [](meter_node* n) { n->policer_id = OF_METER_NO_POLICER; });
}

uint32_t of_dpx_retrieve_policerid_from_meterid(const of_chip_entry* chip, uint32_t meter_id) {
  meter_node* m = chip ? of_lp_retrieve_meter_from_meterbase(meter_id) : nullptr;
  if (!m) return OF_METER_NO_POLICER;
  ofa_trace(OFACORE, 7, 1, OFA_TR_DPX_METER_EXISTS,
            "OPENFLOW METER: METER NODE with Meter id:%d exist \n", meter_id);
  return m->policer_id;
}
