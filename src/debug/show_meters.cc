// "meter all" and "meter N": the meter base by id, each meter with its flags, its policer and its
// bands, the rate of a band as the manager sent it (kilobits) and as the chips got it (bytes) in
// thousands.
#include <string>

#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"
#include "groups_meters/meter.h"

namespace {

std::string flag_words(uint32_t flags) {
  static const char* const kWords[] = {" KBPS", " PKTPS", " BURST", " STATS"};
  std::string out;
  for (uint32_t bit = 0; bit < 4; ++bit)
    if (flags & (1u << bit)) out += kWords[bit];
  return out;
}

const char* ofa_meter_band_type_string(uint16_t type) {
  return type == OF_METER_BAND_DROP          ? "DROP"
         : type == OF_METER_BAND_DSCP_REMARK ? "DSCP-REMARK"
                                             : "UNKNOWN";
}

// The lines of one band: 7, or 8 with a precedence level.
int show_band(ofa_writer* w, const meter_node* m, const meter_band_node* b) {
  uint64_t adjusted = b->rate;
  openflow_adjust_rate(&adjusted, OF_RATE_COMMITTED, 0);
  const bool remark = b->type == OF_METER_BAND_DSCP_REMARK;
  cli_printf(w, "\n  Band Type:    %s\n\n", ofa_meter_band_type_string(b->type));
  cli_printf(w, "    Rate:                         %u\t\t\tAdjusted rate:\t\t\t%s\n", b->rate,
             cu_print_counter64(adjusted / 1000).text);
  cli_printf(w, "    Burst size:                   %u\t\tkb\n", b->burst_size);
  if (remark) cli_printf(w, "    Prec level:                   %u\n", b->prec_level);
  cli_printf(w, "    In packet band count:         -NA- \n");
  cli_printf(w, "    In byte band count:           %s\n\n",
             cu_print_counter64(remark ? m->remark_bytes : m->drop_bytes).text);
  return remark ? 8 : 7;
}

}  // namespace

int ofa_show_openflow_single_meter_internal(ofa_writer* w, const meter_node* m) {
  if (!m) return 0;
  cli_printf(w, "\nMeter id: %u\n\n", m->meter_id);
  cli_printf(w, "  Meter Flags:\t\t\t%s\n", flag_words(m->flags).c_str());
  cli_printf(w, "  Number of  bands:\t\t%u\n", m->band_cnt);
  cli_printf(w, "  RL Class Index:\t\t%u\t\n", m->policer_id);
  cli_printf(w, "  In packet count:\t\t-NA- \n");
  cli_printf(w, "  In byte count:\t\t%s\n", cu_print_counter64(m->in_bytes).text);
  int lines = 8;
  for (const meter_band_node* b = m->band_list; b; b = b->next)
    lines += show_band(w, m, b);
  return lines;
}

void ofa_show_openflow_meters(ofa_writer* w) {
  if (!ofa_show_list_head(w, "\nTotal Number of Meters: %u\n", of_lp_meter_get_meter_count())) {
    return;
  }
  for (const meter_node* m = of_lp_meter_get_first_meter_node(); m;
       m = of_lp_meter_get_next_meter_node_key(m->meter_id))
    ofa_show_openflow_single_meter_internal(w, m);
}

void ofa_show_openflow_single_meter(ofa_writer* w, uint32_t meter_id) {
  if (!ofa_show_check_version(w, true)) return;
  const meter_node* m = of_lp_retrieve_meter_from_meterbase(meter_id);
  if (!m) {
    cli_printf(w, "No entry for meter id: %u found\n", meter_id);
    return;
  }
  ofa_show_openflow_single_meter_internal(w, m);
}
