// Flow counters: slots 25 and 26, sent to every chip in table order.
#include <algorithm>
#include <array>

#include "backends/ard/ard_flows.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/flow_stats_batch.h"
#include "chip/hsl_transport.h"
#include "platform/wire.h"

namespace {

constexpr uint32_t kKeyBytes = 8;
constexpr uint32_t kRowReplyBytes = kKeyBytes + OF_STATS_FLOW_RESULT_BYTES;

constexpr uint32_t flow_class(uint32_t l3) {
  return l3 ? OF_STATS_CLASS_L3FLOW : OF_STATS_CLASS_L2FLOW;
}

// The reply: the header, then for each row its key and its result, then the bit set.
constexpr uint32_t reply_length(uint32_t rows) {
  return OF_STATS_HDR_SIZE + kRowReplyBytes * rows + 4 * ((rows + 31) / 32);
}
static_assert(reply_length(ARD_FLOW_STATS_MAX_ROWS) <= OF_NL_MAX_REQUEST);
static_assert(reply_length(ARD_FLOW_STATS_MAX_ROWS + 1) > OF_NL_MAX_REQUEST);

}  // namespace

int ard_of_get_flow_stats(of_flow_stats_batch* batch, uint32_t l3) {
  std::span<of_flow_stats_row> rows = l3 ? batch->l3_rows : batch->l2_rows;
  uint32_t n = std::min({l3 ? batch->l3_count : batch->l2_count, static_cast<uint32_t>(rows.size()),
                         ARD_FLOW_STATS_MAX_ROWS});
  if (n == 0) return 0;
  std::array<uint32_t, ARD_FLOW_STATS_MAX_ROWS> handles{};
  for (uint32_t i = 0; i < n; ++i)
    handles[i] = rows[i].handle;
  uint32_t rsp = reply_length(n);
  uint32_t len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_READ, flow_class(l3),
                                     std::span(handles).first(n), static_cast<uint16_t>(n), n, rsp);
  int rc = ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &rsp);
  // Whatever the outcome, each row takes what the buffer holds: the last chip's reply.
  ofa::wire::Reader r(ofNLReqArea());
  for (uint32_t i = 0; i < n; ++i) {
    uint32_t at = of_stats_result_offset(kKeyBytes * n, n, OF_STATS_FLOW_RESULT_BYTES, i);
    rows[i].packets = r.u64_at(at + 8);
    rows[i].bytes = r.u64_at(at + 16);
  }
  return rc;
}

int ard_of_clr_flow_stats(uint32_t handle, uint32_t l3) {
  const uint32_t keys[] = {handle};
  uint32_t len = of_build_flow_stats(ofNLReqArea(), OF_CMD_STATS_CLEAR, flow_class(l3), keys, 0, 0,
                                     OF_STATS_HDR_SIZE + kKeyBytes);
  return ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &len);
}
