// Preparing a chip: its flow trees (chip/chip_flow_tree.h), region sizes, regions and default
// entries. ofa_chip_up is module 2's chip-up callback and ofa_region_del its warm-up callback.
#pragma once

#include <cstdint>

struct of_chip_entry;

// 0, or the default entries' status; "not handling" (0) without the OpenFlow profile.
int ofa_chip_up(of_chip_entry* chip);
// Slot 1: status; OFA_E_NO_HANDLER with no handler.
int ofa_region_add(of_chip_entry* chip);
// Slot 2: status; OFA_E_NO_HANDLER with no handler.
int ofa_region_del(of_chip_entry* chip);
// Slot 3 with the default action: status; 0 with no handler.
int ofa_setup_default_tcam_entries(of_chip_entry* chip);
