// The queue read: every local port's eight queues at every tick, one message a port.
#include "adapter/chip_ops.h"
#include "agent/trace.h"
#include "chip/if_table.h"
#include "foundation/kprintf.h"
#include "manager/msg_catalogue.h"
#include "manager/mxl.h"
#include "platform/wire.h"
#include "stats/stats.h"

namespace {

constexpr uint32_t kRecordsAt = 16;
constexpr uint32_t kRecordSize = 40;

// Counters are pushed whether they moved or not.
bool ofa_queue_stats_changed(const of_queue_stats_record&) {
  return true;
}

}  // namespace

int of_dpx_get_queue_stats(of_queue_stats_record* record) {
  of_get_queue_stats_fn fn = of_chip_op(of_dpx_get_queue_stats_fn);
  if (!fn) return -1;
  // A refused read leaves the handler's zero counters: the port's message still goes.
  fn(record);
  return 0;
}

int ofa_push_queue_stats(const of_queue_stats_record& record) {
  uint8_t* buf = ipc_get_buffer(OFA_QUEUE_STATS_MSG_SIZE);
  if (!buf) {
    file_printf("Queue stats mxl message allocation failed\n");
    return 0;
  }
  ofa::wire::Writer w(buf, OFA_QUEUE_STATS_MSG_SIZE);
  w.u32(ofa_msg_hdr(MSGTYPE_OPENFLOW_PORT_STATS, OFA_QUEUE_STATS_MSG_SIZE - OFA_MSG_HDR_SIZE))
      .u16(1)
      .u16(0)
      .u16(static_cast<uint16_t>(record.port_id));
  for (uint32_t q = 0; q < OF_QUEUES_PER_PORT; ++q) {
    uint32_t at = kRecordsAt + kRecordSize * q;
    w.u32_at(at + 4, q);
    w.u64_at(at + 8, record.queues[q].bytes);
    w.u64_at(at + 16, record.queues[q].packets);
  }
  int rc = ofa_stats_send(buf, OFA_QUEUE_STATS_MSG_SIZE);
  if (rc != 0) file_printf("IPC send failed %s %d\n", __func__, rc);
  ipc_free_buffer(buf);
  return rc == 0 ? 1 : 0;
}

void openflow_ofa_sync_queue_stats() {
  avl_node* cursor = nullptr;
  for (of_if_entry* p = of_get_first_port(&cursor); p; p = of_get_next_port(&cursor)) {
    if (!p->is_local) continue;
    of_queue_stats_record record{};
    record.port_id = p->port_id;
    if (of_dpx_get_queue_stats(&record) == 0 && ofa_queue_stats_changed(record))
      ofa_push_queue_stats(record);
  }
}
