// The walk of a received datagram: order and trace words, bad types, an overrun, empty rows.
// (mi_walk_fuzz checks the handler calls of every datagram it makes, empty ones included.)
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "agent/trace.h"
#include "manager/msg_catalogue.h"
#include "platform/evrec.h"
#include "platform/wire.h"
#include "processes.h"

namespace {

// The types handled, in order (their payloads and slots: mi_walk_fuzz).
std::vector<uint32_t> g_calls;

template <uint32_t Type>
void record(uint32_t, const uint8_t*, int, uint32_t) {
  g_calls.push_back(Type);
}

// A datagram of messages (type, payload) back to back; `len_override` replaces a length field.
struct Msg {
  uint32_t type;
  std::vector<uint8_t> payload;
  int len_override = -1;
};
std::vector<uint8_t> datagram(const std::vector<Msg>& msgs) {
  std::vector<uint8_t> out;
  for (const Msg& m : msgs) {
    uint32_t len = m.len_override >= 0 ? static_cast<uint32_t>(m.len_override)
                                       : static_cast<uint32_t>(m.payload.size());
    uint8_t hdr[4];
    ofa::wire::Writer(hdr, 4).u32(ofa_msg_hdr(m.type, len));
    out.insert(out.end(), hdr, hdr + 4);
    out.insert(out.end(), m.payload.begin(), m.payload.end());
  }
  return out;
}

class Walk : public ofa::test::RunDir {
 protected:
  void SetUp() override {
    RunDir::SetUp();
    ASSERT_EQ(openflowAgt_trace_init(), 0);
    g_calls.clear();
    ASSERT_EQ(ofa_set_msg_handler(MSGTYPE_OPENFLOW_FLOW_OPERATION, record<7>), 0);
    ASSERT_EQ(ofa_set_msg_handler(MSGTYPE_OPENFLOW_GROUP_OPERATION, record<9>), 0);
  }
  void TearDown() override {
    ofa_set_msg_handler(MSGTYPE_OPENFLOW_FLOW_OPERATION, nullptr);
    ofa_set_msg_handler(MSGTYPE_OPENFLOW_GROUP_OPERATION, nullptr);
    openflowAgt_trace_exit();
    evrec_exit();
    RunDir::TearDown();
  }
  // Ids of the OFAMSG traces, in order.
  std::vector<uint32_t> trace_ids() const {
    std::vector<uint32_t> ids;
    for (const auto& r : trace_module_records(ofa_trace_handle(OFAMSG)))
      ids.push_back(r.id);
    return ids;
  }
};

int walk(const std::vector<uint8_t>& d, uint32_t slot = 0) {
  return ofa_process_mi_msg(5, slot, d.data(), static_cast<uint32_t>(d.size()));
}

TEST_F(Walk, TwoMessagesHandledInOrder) {
  EXPECT_EQ(walk(datagram({{7, {1, 2, 3}}, {9, {4, 5}}}), 3), 0);
  EXPECT_EQ(g_calls, (std::vector<uint32_t>{7, 9}));
  EXPECT_EQ(trace_ids(), (std::vector<uint32_t>{10001, 10001}));
  auto recs = trace_module_records(ofa_trace_handle(OFAMSG));
  // Type, message size (length + 4), bytes left, slot; the second message's bytes left.
  EXPECT_EQ((std::vector<uint32_t>{recs[0].words[1], recs[0].words[2], recs[0].words[3],
                                   recs[0].words[4], recs[1].words[3]}),
            (std::vector<uint32_t>{7, 7, 13, 3, 6}));
}

TEST_F(Walk, BadTypeAfterGoodMessage) {
  EXPECT_EQ(walk(datagram({{7, {9}}, {13, {}}})), -119);
  EXPECT_EQ(trace_ids(), (std::vector<uint32_t>{10001, 10000}));
  EXPECT_EQ(walk(datagram({{1023, {}}})), -119);
}

TEST_F(Walk, AgentToManagerTypesTracedAndDropped) {
  for (uint32_t type : {3u, 4u, 5u, 6u, 11u}) {
    EXPECT_EQ(ofa_set_msg_handler(type, record<3>), -1);
    EXPECT_EQ(walk(datagram({{type, std::vector<uint8_t>(124)}})), 0);
  }
  EXPECT_EQ(ofa_set_msg_handler(13, record<3>), -1);
  EXPECT_TRUE(g_calls.empty());
  EXPECT_EQ(trace_ids().size(), 5u);
  EXPECT_STREQ(ofa_msg_type_name(3), "MSGTYPE_OPENFLOW_FLOW_STATUS");
}

TEST_F(Walk, OverrunEndsWithTraceAndReadsNothingBeyond) {
  auto d = datagram({{7, {1}}, {9, {1, 2, 3}, 60000}});
  // The datagram sits in a bigger buffer whose tail would be a valid message if it were read.
  std::vector<uint8_t> buf = d;
  auto tail = datagram({{9, std::vector<uint8_t>(200, 0xee)}});
  buf.insert(buf.end(), tail.begin(), tail.end());
  EXPECT_EQ(ofa_process_mi_msg(5, 0, buf.data(), static_cast<uint32_t>(d.size())), 0);
  EXPECT_EQ(trace_ids(), (std::vector<uint32_t>{10001, 10001, 10007}));
}

TEST(Catalogue, SubTypeNames) {
  EXPECT_STREQ(ofm_get_sub_msgtype(0), "ERROR");
  EXPECT_STREQ(ofm_get_sub_msgtype(4), "MODIFY_FLOW ");
  EXPECT_STREQ(ofm_get_sub_msgtype(16), "CONFIG_PROTECTED_VLAN");
  EXPECT_STREQ(ofm_get_sub_msgtype(17), "UNKNOWN");
  EXPECT_STREQ(ofa_msg_type_name(12), "MXL_MSGTYPE_OPENFLOW_EVT_OPERATION");
  EXPECT_STREQ(ofa_msg_type_name(13), "Unknown");
  for (uint32_t t = 0; t <= OFA_MSGTYPE_MAX; ++t)
    EXPECT_EQ(ofa_msg_handlers[t].type, t);
}

}  // namespace
