// The slot and chip tables: which line cards and switch chips exist, filled from HSL events, warm
// recovery and port adds, and the helpers that send one request to all chips.
//
// ofSlotTable: 10 records indexed by slot number. ofChipTable: an avl_tree of of_chip_entry
// keyed by flat chip id with a reversed compare, so the walk runs from the highest id down.
#pragma once

#include <cstdint>
#include <span>

#include "chip/chip_event.h"
#include "chip/of_list.h"

struct avl_tree;
struct avl_node;

inline constexpr uint32_t OF_MAX_SLOTS = 10;
inline constexpr uint32_t OF_CHIP_CLASS_SUPPORTED = 2;
inline constexpr uint32_t OF_STATS_CLEAR_CMD = 0x06270001;

struct of_slot_entry {
  uint8_t slot_id = 0;
  uint32_t state = 0;  // 1 up, 0 down
  uint32_t flags = 0;
  of_dlist chips;  // of_chip_entry, arrival order
  of_dlist list2;  // initialised empty, never filled
  of_dlist list3;
};

struct of_chip_entry {
  uint32_t chip_id = 0;  // flat chip id, the key
  uint32_t ifindex = 0;
  uint32_t slot = 0;
  uint32_t local_chip_id = 0;
  uint32_t chip_class = 0;
  uint32_t seen = 0;
  uint32_t chip_type = 0;
  uint32_t l2_size = 0;  // flow region sizes, set at chip up
  uint32_t l3_size = 0;
  uint32_t is_local = 0;
  of_slot_entry* slot_entry = nullptr;
  of_dlist slot_link;
  of_dlist ports;  // of_if_entry on this chip
  avl_tree* l2_flow_tree = nullptr;
  avl_tree* l3_flow_tree = nullptr;
  uint32_t ipv4_caps = 0;
  uint32_t ipv6_caps = 0;
};

// Slots 0 to 9, and a spare record behind them: ofLookupSlot() admits slot 10, and a chip of that
// slot is kept in the spare record rather than in whatever would lie behind the table.
extern of_slot_entry ofSlotTable[OF_MAX_SLOTS + 1];
extern avl_tree* ofChipTable;

void ofInitSlotTable();
// 0, or OFA_E_NO_MEMORY with "Failed to initialize chip table, error = %d".
int ofInitChipTable();
// The record of a slot; null above 10.
of_slot_entry* ofLookupSlot(uint32_t slot);
of_chip_entry* ofLookupChip(uint32_t flat_id);
// Walk in table order (highest flat id first); the cursor is the tree's node.
of_chip_entry* ofGetFirstChip(avl_node** cursor);
of_chip_entry* ofGetNextChip(avl_node** cursor);
of_chip_entry* ofGetFirstLocalChip(avl_node** cursor);
int ofCmpChipEntry(const void* a, const void* b);

// Chip events. `warm` nonzero deletes the chip's regions (module 2's chip_warm_up) before the
// chip-up callbacks. 0, OFA_E_BAD_OR_MISSING (no slot) or OFA_E_NO_MEMORY (no memory, table
// failure).
int ofProcessChipUp(const of_chip_event_record* rec, int warm);
int ofProcessChipAdd(const of_chip_event_record* rec, int warm);
int ofProcessChipDown(const of_chip_event_record* rec);
// Reconciliation against a bulk event (mark and sweep). 0.
int ofProcessBulkChipUp(std::span<const uint8_t> event);
int ofProcessSlotUp(uint32_t slot);
int ofProcessSlotDown(uint32_t slot);
// The chip-up that a port add makes for an unknown chip (warm path). 0 or the add's code.
int ofGetChipFromChipId(uint32_t flat_id);

// The request standing in ofNLMsgBuf to every chip in table order; stops at the first failure.
int ofDispatchIoctlToAllChips(const void* request, uint32_t size, void* spare,
                              const uint32_t* response_size);
// The request to each local chip, calling fn(ctx, request) after each; once: first chip only.
using of_stats_aggr_fn = int (*)(void* ctx, uint8_t* request);
int ofAggregateStatsFromAllChips(of_stats_aggr_fn fn, void* ctx, const void* request, uint32_t size,
                                 void* spare, const uint32_t* response_size, int once);

int ofGetChipCapability(of_chip_entry* entry);
int ofGetCoSChipCapability(of_chip_entry* entry);
int ofCopyCapsToChip(const of_chip_event_record* rec, of_chip_entry* entry);

using of_show_cb = void (*)(const char* text);
void ofShowSlotTable(of_show_cb cb);
void ofShowChipTable(of_show_cb cb);

// Platform decoders of interface indexes, answered from the loaded platform file.
int32_t of_dce_get_flat_chip_id(uint32_t ifindex);
int32_t of_dce_get_slot_id(uint32_t ifindex);
int32_t of_dce_get_slot_chip_id(uint32_t flat_id);
uint32_t of_dce_get_ifindex(uint32_t flat_id);

// Frees every chip and empties both tables (tests; the agent never removes a chip).
void ofResetChipTables();
