// The meter walk: meters by id in batches of 25 read from every local chip, a record for each
// with traffic, the walk kept after 50 ms and resumed at the next tick. What lasts from one tick
// to the next (the kept meter, the read batch) is held as meter ids and looked up again, so that
// a meter deleted or modified meanwhile is never read through a stale node.
#include <algorithm>
#include <array>

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/reset.h"
#include "agent/timebase.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "foundation/kprintf.h"
#include "groups_meters/meter.h"
#include "manager/msg_catalogue.h"
#include "manager/mxl.h"
#include "platform/wire.h"
#include "stats/stats.h"

uint64_t (*ofa_stats_clock_ms)() = ofa_timebase_ms;

namespace {

constexpr uint32_t kHeadSize = 8;

struct meter_stats_sync_data {
  uint32_t next_free = 0;  // next record of the message being built
  uint32_t reserved = 0;
  bool kept = false;  // the walk stopped at kept_id
  uint32_t kept_id = 0;
};
meter_stats_sync_data g_sync;
std::array<uint32_t, OFA_STATS_METER_BATCH> g_read_ids{};
uint32_t g_read_count = 0;

const ofa_reset_hook reset_hook{6, ofa_stats_meter_reset};

uint8_t* new_message() {
  uint8_t* msg = ipc_get_buffer(OFA_METER_STATS_MSG_SIZE);
  if (!msg) {
    uprintf("Unable to allocate meter stats IPC message from the ipc buffer\n");
    return nullptr;
  }
  ofa::wire::Writer(msg, OFA_METER_STATS_MSG_SIZE)
      .u32(ofa_msg_hdr(MSGTYPE_OPENFLOW_STATS_SYNC_EVENT,
                       OFA_METER_STATS_MSG_SIZE - OFA_MSG_HDR_SIZE))
      .u32(0);
  return msg;
}

uint32_t record_count(const uint8_t* msg) {
  return ofa::wire::Reader(msg, OFA_METER_STATS_MSG_SIZE).u32_at(4);
}

void openflow_meter_stats_copy(const meter_node* m, uint8_t* msg) {
  if (g_sync.next_free >= OFA_STATS_METER_RECORDS) return;
  ofa::wire::Writer w(msg, OFA_METER_STATS_MSG_SIZE);
  uint32_t at = kHeadSize + OFA_METER_RECORD_SIZE * g_sync.next_free;
  w.u32_at(at, m->meter_id);
  w.u64_at(at + 8, m->in_packets);
  w.u64_at(at + 16, m->in_bytes);
  for (const meter_band_node* b = m->band_list; b; b = b->next) {
    uint32_t band_at = b->type == OF_METER_BAND_DROP ? 32 : 48;
    w.u64_at(at + band_at, b->type == OF_METER_BAND_DROP ? m->drop_packets : m->remark_packets);
    w.u64_at(at + band_at + 8, b->type == OF_METER_BAND_DROP ? m->drop_bytes : m->remark_bytes);
  }
  w.u32_at(4, record_count(msg) + 1);
  ++g_sync.next_free;
}

void openflow_send_meter_stats_msg_dpx(uint8_t* msg, uint32_t len) {
  if (ofa_stats_send(msg, len) != 0) file_printf("ipc send failed : %s : %d\n", __func__, __LINE__);
  ipc_free_buffer(msg);
}

// Reads the batch: the meters still there and still with flows, summed over the local chips.
void read_batch(uint8_t* msg) {
  std::array<meter_node*, OFA_STATS_METER_BATCH> meters{};
  std::array<uint32_t, OFA_STATS_METER_BATCH> ids{};
  uint32_t n = 0;
  for (uint32_t id : std::span(g_read_ids).first(g_read_count)) {
    meter_node* m = of_lp_retrieve_meter_from_meterbase(id);
    if (!m || m->flow_count == 0) continue;
    meters[n] = m;
    ids[n++] = of_meter_policer_id(id);
  }
  g_read_count = 0;
  if (n == 0) return;
  std::array<uint64_t, OFA_STATS_METER_BATCH> conform{}, exceed{};
  if (of_get_pol_stats_fn fn = of_chip_op(of_dpx_get_pol_stats_fn)) {
    avl_node* cursor = nullptr;
    for (of_chip_entry* c = ofGetFirstChip(&cursor); c; c = ofGetNextChip(&cursor))
      if (c->is_local) fn(c->ifindex, ids.data(), conform.data(), exceed.data(), n);
  }
  for (uint32_t i = 0; i < n; ++i) {
    meters[i]->in_bytes += conform[i] + exceed[i];
    meters[i]->drop_bytes += exceed[i];
    if (meters[i]->in_bytes || meters[i]->drop_bytes) openflow_meter_stats_copy(meters[i], msg);
  }
}

// 1 when the message holds records ready to go.
int lp_openflow_get_meter_stats_dpx(meter_node* m, bool last, uint8_t* msg) {
  if (m->flow_count != 0 && std::find(g_read_ids.begin(), g_read_ids.begin() + g_read_count,
                                      m->meter_id) == g_read_ids.begin() + g_read_count) {
    m->in_bytes = m->drop_bytes = 0;
    g_read_ids[g_read_count++] = m->meter_id;
  }
  if (!last && g_read_count < OFA_STATS_METER_BATCH) return 0;
  read_batch(msg);
  return record_count(msg) > 0 ? 1 : 0;
}

}  // namespace

void ofa_stats_meter_reset() {
  g_sync = {};
  g_read_count = 0;
}

void lp_openflow_sync_meter_statistics() {
  if (!openflow_init_completed || of_lp_meter_get_meter_count() == 0) return;
  meter_node* m = g_sync.kept ? of_lp_meter_get_next_meter_node_key(g_sync.kept_id)
                              : of_lp_meter_get_first_meter_node();
  if (!m) {
    g_sync.kept = false;
    return;
  }
  uint8_t* msg = new_message();
  if (!msg) return;
  uint64_t start = ofa_stats_clock_ms();
  while (m) {
    meter_node* next = of_lp_meter_get_next_meter_node_key(m->meter_id);
    if (lp_openflow_get_meter_stats_dpx(m, next == nullptr, msg) ||
        g_sync.next_free >= OFA_STATS_METER_RECORDS) {
      openflow_send_meter_stats_msg_dpx(msg, OFA_METER_STATS_MSG_SIZE);
      g_sync.next_free = 0;
      if (!(msg = new_message())) return;
    }
    if (ofa_stats_clock_ms() - start > OFA_STATS_METER_LIMIT_MS) {
      g_sync.kept = true;
      g_sync.kept_id = m->meter_id;
      ipc_free_buffer(msg);
      return;
    }
    m = next;
  }
  ipc_free_buffer(msg);
  g_sync = {};
}
