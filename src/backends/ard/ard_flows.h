// `ard` flow programming: slots 16 to 21 (one flow, one TCAM entry in region 20 of one chip) and
// the flow statistics slots 25 and 26.
//
// An add takes its handle from the chip's own slot of the hardware reference, places the entry
// between the handles of its neighbours in the chip's flow tree (`before` the next lower entry,
// `after` the next higher, 0 at an end) and enters the tree once the chip accepted it. An update
// and a delete take the handle of slot 0, whatever the chip. A delete leaves the tree only when
// the chip deleted the entry.
//
// Handlers answer 0, the chip's refusal (-106), a send failure (-111), or -128 without sending:
// an output port without interface entry, and for L3 an in port without one.
#pragma once

#include <cstdint>

struct of_chip_entry;
struct fd_entry;
struct of_flow_actions;
struct of_flow_hw_ref;
struct of_flow_stats_batch;

int ard_of_l2flow_add(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                      of_flow_hw_ref* hw);
int ard_of_l2flow_upd(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                      of_flow_hw_ref* hw);
int ard_of_l2flow_del(of_chip_entry* chip, fd_entry* flow, of_flow_hw_ref* hw);
int ard_of_l3flow_ipv4add(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                          of_flow_hw_ref* hw);
int ard_of_l3flow_ipv4upd(of_chip_entry* chip, fd_entry* flow, of_flow_actions* actions,
                          of_flow_hw_ref* hw);
int ard_of_l3flow_ipv4del(of_chip_entry* chip, fd_entry* flow, of_flow_hw_ref* hw);

// Reads the counters of the L2 rows (l3 == 0) or the L3 rows from every chip in table order; the
// last chip's reply is what reaches the rows. One request carries at most
// ARD_FLOW_STATS_MAX_ROWS rows: the rows past it (or past the bucket) are not read.
int ard_of_get_flow_stats(of_flow_stats_batch* batch, uint32_t l3);
// Clears the counters of one handle on every chip.
int ard_of_clr_flow_stats(uint32_t handle, uint32_t l3);

// What fits the 4048-byte request area: 48 + 32 bytes a row + the bit set.
inline constexpr uint32_t ARD_FLOW_STATS_MAX_ROWS = 124;
