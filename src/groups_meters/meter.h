// Meters: the meter base (a tree by meter id with its count), the meter and band pools (200
// elements each, at most 3960, growing by 200), the arithmetic that turns the manager's kilobits
// into the chips' bytes, the flows that use each meter, and the policer each meter owns on every
// chip.
//
// Meter message (behind the transport header, at least 40 bytes): the sub-type in the low 16
// bits of the word at 0; meter id at 8 (0xFFFFFFFF in a delete or a clear: all meters), flags at
// 12, DROP rate and burst at 16 and 20, DSCP-REMARK rate, burst and precedence at 24, 28, 32,
// the band count at 36.
//
// Engine operations answer 1 for success, 0 for failure; each failure prints its reason. The
// first band of a meter is always DROP (from the drop fields), every further one DSCP-REMARK.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/dce_avl_tree.h"

struct of_chip_entry;

inline constexpr uint32_t OF_METER_MSG_MIN_LEN = 40;
inline constexpr uint32_t OFM_ADD_METER = 22;
inline constexpr uint32_t OFM_MODIFY_METER = 23;
inline constexpr uint32_t OFM_DELETE_METER = 24;
inline constexpr uint32_t OFM_CLEAR_METER_STATS = 25;
inline constexpr uint32_t OF_METER_ALL = 0xFFFFFFFF;

inline constexpr uint32_t OF_METER_POOL_INITIAL = 200;
inline constexpr uint32_t OF_METER_POOL_LIMIT = 3960;
inline constexpr uint32_t OF_METER_POOL_FLAGS = 4;

inline constexpr uint16_t OF_METER_BAND_DROP = 1;
inline constexpr uint16_t OF_METER_BAND_DSCP_REMARK = 2;
inline constexpr uint16_t OF_METER_NO_POLICER = 4096;

struct meter_msg {
  uint32_t sub_type = 0;
  uint32_t meter_id = 0;
  uint32_t flags = 0;
  uint32_t drop_rate = 0;
  uint32_t drop_burst = 0;
  uint32_t dscp_rate = 0;
  uint32_t dscp_burst = 0;
  uint32_t dscp_prec_level = 0;
  uint32_t band_cnt = 0;
};
// The fields of a message that holds them; what a shorter one lacks reads 0.
meter_msg of_meter_msg_read(std::span<const uint8_t> msg);

struct meter_band_node {
  meter_band_node* next;
  uint16_t type;  // OF_METER_BAND_*
  uint32_t rate;  // as the manager sent them
  uint32_t burst_size;
  uint8_t prec_level;
};

// The adjusted values handed to the chips: rates in bytes per second.
struct meter_config {
  uint64_t committed_rate;
  uint32_t committed_burst;
  uint32_t reserved;
  uint64_t excess_rate;  // 0 with one band, as the three below
  uint32_t excess_burst;
  uint32_t excess_prec_level;
};

struct meter_node {
  dce_avl_node link;
  uint32_t meter_id;
  uint32_t band_cnt;
  uint32_t flow_count;
  uint32_t flags;
  uint64_t in_packets;  // always 0
  uint64_t in_bytes;
  uint64_t reserved;
  uint64_t drop_packets;  // always 0
  uint64_t drop_bytes;
  uint64_t remark_packets;  // always 0
  uint64_t remark_bytes;    // never filled
  uint16_t policer_id;      // OF_METER_NO_POLICER until programmed
  uint16_t carried_half;    // kept across a modify
  meter_config config;
  meter_band_node* band_list;
};

// ---- base and pools -------------------------------------------------------------------------
// 1, or 0 when a pool or the base cannot be made (nothing is then left allocated).
int openflow_lp_meter_init();
// Deletes every meter's policers (flows or not), frees the pools and the base.
void openflow_lp_meter_destroy();

// ---- operations ------------------------------------------------------------------------------
int lp_openflow_generic_add_meter(const meter_msg& m);
// The old record goes before the new one is built: a failing build loses the meter, its policer
// staying in the chips; flow count and statistics start again from 0.
int lp_openflow_generic_modify_meter(const meter_msg& m);
// OF_METER_ALL: destroy and init. A meter with flows is refused.
int lp_openflow_generic_del_meter(uint32_t meter_id);
int lp_openflow_generic_clear_meter_stats(uint32_t meter_id);

// ---- lookups ---------------------------------------------------------------------------------
meter_node* of_lp_retrieve_meter_from_meterbase(uint32_t meter_id);
meter_node* of_lp_meter_get_first_meter_node();
meter_node* of_lp_meter_get_next_meter_node_key(uint32_t meter_id);
uint32_t of_lp_meter_get_meter_count();  // 0 without a base
int of_lp_meter_has_meter_band(uint32_t meter_id, uint16_t type);
// Elements of the pools in use (0xFFFFFFFF without a base), for checks of the limits.
uint32_t of_lp_meter_pool_in_use();
uint32_t of_lp_meter_band_pool_in_use();

// One flow more or less on a meter: id 0 and unknown ids are ignored, the count stops at 0.
void openflow_inc_meter_flow_count(uint32_t meter_id);
void openflow_dec_meter_flow_count(uint32_t meter_id);

// ---- arithmetic ------------------------------------------------------------------------------
inline constexpr int OF_RATE_COMMITTED = 0;
inline constexpr int OF_RATE_EXCESS = 1;
// Kilobits to bytes: x 1000 then >> 3, in 64 bits. 0.
int openflow_adjust_rate(uint64_t* rate, int kind, int print);
// A burst of 0 becomes the rate x 1.2, truncated; any other stays. 0.
int openflow_adjust_burst_size(uint64_t rate, uint64_t* burst);
void openflow_print_rate_adjusted(uint64_t rate, int kind, int print);
// Two bands and more: DSCP-REMARK committed, DROP excess, bursts as sent. One band: DROP
// committed with the default burst, no excess.
void openflow_build_meter_config(meter_config* config, const meter_msg& m);

// ---- hardware --------------------------------------------------------------------------------
// Meter id n uses policer policer_start + n - 1, in 16 bits; walks go over every chip in the
// table's order and stop at the first failing one, undoing nothing.
uint16_t of_meter_policer_id(uint32_t meter_id);
void openflow_dpx_init_meter_rl(meter_node* meter);
int openflow_lp_dpx_create_meter(meter_node* meter, const meter_config* config);
int openflow_lp_dpx_modify_meter(meter_node* meter, const meter_config* config);
// Each chip after the first is handed the id the one before left: 4096.
int openflow_lp_dpx_delete_meter(meter_node* meter);
// A meter's policer for the flows; 4096 for a null chip or an unknown meter.
uint32_t of_dpx_retrieve_policerid_from_meterid(const of_chip_entry* chip, uint32_t meter_id);

// ---- statistics clear ------------------------------------------------------------------------
inline constexpr uint32_t OF_METER_CLEAR_BATCH = 100;
// Adds the meter's policer to the clear batch; at 100 ids, or with `last`, the batch goes to
// every chip in one clear (slot 28; nothing without the family's handler) and empties.
void lp_openflow_clear_hw_meter_stats(const meter_node* meter, int last);
