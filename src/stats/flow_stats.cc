// The flow poll: at most 100 flows a tick from the cursor into the L2 and L3 buckets, their
// counters read from the chips, and a message for each flow whose counters moved.
#include <array>
#include <new>

#include "adapter/chip_ops.h"
#include "agent/agent_globals.h"
#include "agent/flow_record.h"
#include "agent/reset.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/if_table.h"
#include "flow/flow_list.h"
#include "flow/flow_table.h"
#include "foundation/hash_fast.h"
#include "foundation/kprintf.h"
#include "manager/msg_catalogue.h"
#include "manager/mxl.h"
#include "platform/wire.h"
#include "ports/port_mask.h"
#include "stats/stats.h"

uint64_t g_openflow_pkt_to_cpu_cnt = 0;
uint64_t g_openflow_bytes_to_cpu_cnt = 0;

namespace {

using bucket = std::array<of_flow_stats_row, OF_FLOW_STATS_ROWS>;

bucket* g_l2_bkt = nullptr;
bucket* g_l3_bkt = nullptr;
of_flow_stats_batch g_req;
// Flows walked since the table's start: where the next tick begins.
uint32_t g_cursor = 0;

struct poll_ctx {
  uint32_t batch = 0;
  uint32_t* out = nullptr;
  uint32_t count = 0;
};

void add_row(of_flow_stats_row row, bool l3) {
  if (l3)
    g_req.l3_rows[g_req.l3_count++] = row;
  else
    g_req.l2_rows[g_req.l2_count++] = row;
}

// The flow's row in its bucket; a flow without hardware data, port, chip or known port kind has
// none.
void fill_row(const fd_entry* flow) {
  if (flow->is_generic) {
    if (!(flow->rule_kind & 1)) return;
    const port_hw_data* hw =
        openflow_search_flow_in_list(OF_PORT_NONE, flow->flow_id, flow->priority);
    avl_node* cursor = nullptr;
    const of_chip_entry* first = ofGetFirstChip(&cursor);
    if (!hw || !first) return;
    add_row({OF_PORT_NONE, flow->flow_id, flow->priority,
             static_cast<uint32_t>(hw->hw.get(first->chip_id))},
            false);
    return;
  }
  const port_hw_data* hw =
      openflow_search_flow_in_list(flow->in_port_id, flow->flow_id, flow->priority);
  if (!hw) return;
  const of_if_entry* port = ofLookupIfEntrybyPortId(flow->in_port_id);
  if (!port || !port->chip) return;
  int kind = port_is_openflow_type(flow->in_port_id);
  if (kind != OF_PORT_TYPE_L2 && kind != OF_PORT_TYPE_L3) return;
  add_row({flow->in_port_id, flow->flow_id, flow->priority,
           static_cast<uint32_t>(hw->hw.get(port->chip->chip_id))},
          kind == OF_PORT_TYPE_L3);
}

// Every flow walked moves the cursor, also one without a row: otherwise skipped flows at the
// table's end would hold the cursor short of the wrap for ever.
uint32_t lp_openflow_poll_stats_counters_create_msg(void* data, void* arg, hash_node*) {
  auto* ctx = static_cast<poll_ctx*>(arg);
  if (ctx->count >= OFA_STATS_FLOWS_PER_TICK) return HASH_TRAVERSE_STOP;
  fill_row(static_cast<const fd_entry*>(data));
  ++g_cursor;
  ++ctx->count;
  return 1;
}

void process_rows(std::span<const of_flow_stats_row> rows, bool l2) {
  for (const of_flow_stats_row& row : rows) {
    fd_entry* flow = openflow_lookup_flow_by_id(row.flow_id);
    if (!flow) {
      if (l2) file_printf("%s: fd entry NULL for flow_id:%d\n", __func__, row.flow_id);
      continue;
    }
    port_hw_data* hw =
        openflow_search_flow_in_list(static_cast<uint16_t>(row.port_id), row.flow_id, row.list_key);
    if (!hw) {
      if (l2) file_printf("%s: port_hw_data NULL for flow_id:%d\n", __func__, row.flow_id);
      continue;
    }
    if (row.packets == flow->packet_count && row.bytes == flow->byte_count) continue;
    hw->packet_count = flow->packet_count = row.packets;
    hw->byte_count = flow->byte_count = row.bytes;
    ofa_push_flow_stats(row.flow_id, row.packets, row.bytes);
  }
}

void free_buckets() {
  delete g_l2_bkt;
  delete g_l3_bkt;
  g_l2_bkt = g_l3_bkt = nullptr;
  g_req = {};
  g_cursor = 0;
}

const ofa_reset_hook reset_hook{6, free_buckets};

}  // namespace

int ofa_stats_init() {
  if (g_l2_bkt) return 1;
  g_l2_bkt = new (std::nothrow) bucket{};
  g_l3_bkt = new (std::nothrow) bucket{};
  if (g_l2_bkt && g_l3_bkt) return 1;
  free_buckets();
  return 0;
}

void ofa_stats_destroy() {
  free_buckets();
  ofa_stats_meter_reset();
}

uint32_t ofa_stats_flow_cursor() {
  return g_cursor;
}

int lp_openflow_poll_stats_counters(uint32_t batch, uint32_t* out) {
  if (!openflow_init_completed || !g_l2_bkt || openflow_flow_count() == 0) {
    if (out) *out = 0;
    return 1;
  }
  poll_ctx ctx{batch, out, 0};
  g_req = {0, 0, *g_l2_bkt, *g_l3_bkt};
  hashFastGenericTraverseUnsorted(of_flow_id_table, lp_openflow_poll_stats_counters_create_msg,
                                  g_cursor, 0xffffffffu, &ctx);
  if (openflow_flow_count() <= g_cursor) g_cursor = 0;
  of_dpx_get_flow_stats(&g_req);
  of_dpx_process_flow_stats(&g_req);
  return 1;
}

void of_dpx_get_flow_stats(of_flow_stats_batch* batch) {
  of_get_flow_stats_fn fn = of_chip_op(of_dpx_get_flow_stats_fn);
  if (!fn) return;
  // A read that failed leaves zero counters, never what an earlier reply left in the buffer.
  auto read = [&](uint32_t count, std::span<of_flow_stats_row> rows, uint32_t l3) {
    if (count == 0 || fn(batch, l3) == 0) return;
    for (of_flow_stats_row& row : rows.first(count))
      row.packets = row.bytes = 0;
  };
  read(batch->l2_count, batch->l2_rows, 0);
  read(batch->l3_count, batch->l3_rows, 1);
}

void of_dpx_process_flow_stats(of_flow_stats_batch* batch) {
  process_rows(batch->l2_rows.first(batch->l2_count), true);
  process_rows(batch->l3_rows.first(batch->l3_count), false);
}

int ofa_push_flow_stats(uint32_t flow_id, uint64_t packets, uint64_t bytes) {
  uint8_t* buf = ipc_get_buffer(OFA_FLOW_STATS_MSG_SIZE);
  if (!buf) {
    file_printf("%s:%d - flow_stats msg alloc NULL\n", __func__, __LINE__);
    return 0;
  }
  ofa::wire::Writer w(buf, OFA_FLOW_STATS_MSG_SIZE);
  w.u32(ofa_msg_hdr(MSGTYPE_OPENFLOW_STATISTICS_SYNC_EVENT,
                    OFA_FLOW_STATS_MSG_SIZE - OFA_MSG_HDR_SIZE))
      .u16(1)
      .u16(0)
      .u32(flow_id)
      .u32(0)
      .u64(packets)
      .u64(bytes);
  int rc = ofa_stats_send(buf, OFA_FLOW_STATS_MSG_SIZE);
  if (rc != 0) file_printf("ipc send failed : %s : %d\n", __func__, rc);
  ipc_free_buffer(buf);
  return rc == 0 ? 1 : 0;
}
