#include "manager/flow_status.h"

#include <cstring>
#include <string_view>

#include "agent/timebase.h"
#include "agent/trace.h"
#include "manager/msg_catalogue.h"
#include "manager/mxl.h"
#include "platform/pq6.h"
#include "platform/wire.h"

int openflow_send_status_ipc_to_mp(const uint32_t id_block[3], uint32_t sub_type, uint32_t status,
                                   uint32_t /*spare*/, uint32_t start_hi, uint32_t start_lo,
                                   const char* text) {
  uint8_t* buf = ipc_get_buffer(OF_FLOW_STATUS_SIZE);
  if (!buf) return 0;
  std::string_view reason =
      text ? std::string_view(text, strnlen(text, OF_FLOW_STATUS_TEXT_SIZE)) : std::string_view{};
  ofa::wire::Writer w(buf, OF_FLOW_STATUS_SIZE);
  w.u32(ofa_msg_hdr(MSGTYPE_OPENFLOW_FLOW_STATUS, OF_FLOW_STATUS_SIZE - OFA_MSG_HDR_SIZE))
      .u32(0)
      .u32(id_block[OF_ID_FLOW])
      .u32(id_block[OF_ID_CTRL])
      .u32(id_block[OF_ID_XID])
      .u32(status)
      .u32(0)
      .u32(sub_type)
      .u32(start_hi)
      .u32(start_lo)
      .u64(ofa_timebase_ms())
      .text(reason.substr(0, OF_FLOW_STATUS_TEXT_SIZE - 1), OF_FLOW_STATUS_TEXT_SIZE);
  file_printf("OPENFLOW IPC: Sending flow status %d for flow %d size of msg:%d ipc hdr size:%d\n",
              static_cast<int>(status), static_cast<int>(id_block[OF_ID_FLOW]),
              static_cast<int>(OF_FLOW_STATUS_SIZE), static_cast<int>(OFA_MSG_HDR_SIZE));
  get_active_mp_slot();  // the address already names the active MP
  int rc = of_send_mxl_msg(of_corvu_state.mi_sock, 0, buf, OF_FLOW_STATUS_SIZE);
  ipc_free_buffer(buf);
  if (rc == 0) {
    file_printf("openflow_send_status_ipc_to_mp: Sent a Flow Status IPC from LP tp MP");
    return 1;
  }
  file_printf(
      "Error - openflow_send_status_ipc_to_mp: Problem sending an Flow Status IPC from LP tp MP");
  return 0;
}
