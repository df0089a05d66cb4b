// "chip all" and "chip N": the chip table, highest flat id first.
#include "chip/chip_table.h"
#include "debug/cli.h"
#include "debug/show_common.h"
#include "debug/shows.h"

void ofa_show_openflow_chip_internal(ofa_writer* w, const of_chip_entry* chip) {
  if (!chip) return;
  cli_printf(w, "Chip Id: %d\n", chip->chip_id);
  cli_printf(w, "   is_local: %d local chip id: %4d ifindex: 0x%8x slot id: %4d\n", chip->is_local,
             chip->local_chip_id, chip->ifindex, chip->slot);
}

void ofa_show_openflow_chips(ofa_writer* w) {
  ofa_show_each(w, ofGetFirstChip, ofGetNextChip, ofa_show_openflow_chip_internal);
}

void ofa_show_openflow_single_chip(ofa_writer* w, uint32_t chip_id) {
  ofa_show_openflow_chip_internal(w, ofLookupChip(chip_id));
}
