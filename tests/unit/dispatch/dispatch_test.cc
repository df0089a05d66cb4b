// Dispatch of the manager's operations with the flow engine behind it: the status each flow
// sub-type draws (or not), its bytes, the traces, the length checks of the handlers, the
// configuration sub-commands 6, 10 and 13, and the VLAN, port-VLAN, group and EVT messages'
// traces. Messages come from the manager tool's encoder, and so do the statuses expected; the
// sub-commands and traces the scenarios already check (tests/integration) are not repeated.
#include "manager/dispatch/dispatch.h"

#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "adapter/catchall.h"
#include "agent/flow_record.h"
#include "agent/timebase.h"
#include "agent/top/openflow_agt_main.h"
#include "chip/chip_req.h"
#include "codec.h"
#include "flow/flow_engine.h"
#include "flow_env.h"
#include "groups_meters/group_db.h"
#include "groups_meters/l2fwd_table.h"
#include "hex.h"
#include "manager/flow_status.h"
#include "manager/msg_catalogue.h"
#include "mgr_end.h"
#include "platform/wire.h"
#include "ports/vlan_table.h"

namespace {

using Bytes = std::vector<uint8_t>;
namespace mgr = ofa::mgr;

// The case tables' rows print as their names.
template <typename Case>
requires requires(const Case& c) {
  c.name;
}
void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

constexpr uint32_t kCtrlWord = 0x02000000;  // cid 2
constexpr uint32_t kXid = 7;

// The fixture's flow message, for the case tables.
struct Msgs : ofa::test::FlowEnv {
  using FlowEnv::flow;
};

// A flow operation on generic flow `id` (on `in_port` when one is named), naming `members`
// members when that is not 0.
mgr::FlowMsg op(uint16_t sub, uint32_t id, uint32_t more = 0, uint16_t in_port = OF_PORT_NONE,
                uint16_t members = 0) {
  mgr::FlowMsg m = Msgs::flow(id, 10, in_port);
  m.sub_type = sub;
  m.more_fragments = more;
  m.controller_word = kCtrlWord;
  m.xid = kXid;
  m.member_count = members;
  m.member_count_override = members != 0;
  return m;
}

mgr::ConfigMsg config(uint32_t sub_cmd, uint8_t add, uint32_t value = 0) {
  mgr::ConfigMsg m;
  m.sub_cmd = sub_cmd;
  m.add = add;
  m.value = value;
  return m;
}

// One datagram through the walk and the registered handlers.
void deliver(const Bytes& datagram) {
  ofa_process_mi_msg(0, 0, datagram.data(), static_cast<uint32_t>(datagram.size()));
}
void deliver(const mgr::Message& m) {
  auto d = mgr::encode(m);
  ASSERT_TRUE(d.ok());
  deliver(d.value());
}

class Dispatch : public ofa::test::FlowEnv {
 protected:
  void SetUp() override {
    FlowEnv::SetUp();
    openflow_init_completed = 1;  // the fixture made the databases
    mgr_.emplace();
    ASSERT_TRUE(mgr_->ok());
    ofa_register_dispatch({openflow_destroy, openflow_init});
  }
  void TearDown() override {
    mgr_.reset();
    FlowEnv::TearDown();
  }
  std::vector<Bytes> sent() { return mgr_->take(); }
  std::optional<ofa::test::MgrEnd> mgr_;
};

// ---- the status message ---------------------------------------------------------------------

// The text is cut at 79 characters and terminated by the zero-filled buffer.
TEST_F(Dispatch, StatusBytes) {
  const uint32_t ids[3] = {0x11223344, kCtrlWord | 0x5, 0x99};
  uint64_t start = ofa_timebase_ms();
  EXPECT_EQ(
      openflow_send_status_ipc_to_mp(ids, 4, 1, 0xdead, static_cast<uint32_t>(start >> 32),
                                     static_cast<uint32_t>(start), std::string(100, 'A').c_str()),
      1);
  auto msgs = sent();
  ASSERT_EQ(msgs.size(), 1u);
  Bytes got = msgs[0];
  ASSERT_EQ(got.size(), 128u);
  ofa::wire::Reader r(got);
  EXPECT_EQ(r.u64_at(32), start);
  EXPECT_GE(r.u64_at(40), start);
  std::fill(got.begin() + 32, got.begin() + 48, 0);
  Bytes want = ofa::test::sparse(
      128, "0: 00C0007C 00000000 11223344 02000005 00000099 00000001 00000000 00000004");
  std::fill(want.begin() + 48, want.begin() + 127, 'A');
  EXPECT_EQ(got, want);
}

// ---- flow operations ------------------------------------------------------------------------

struct FlowCase {
  const char* name;
  mgr::FlowMsg msg;
  int status;          // -1: no status
  std::string text;    // the status text
  std::string words;   // printed
  std::string absent;  // not printed
  uint32_t flows;      // flows held afterwards
};

class FlowOps : public Dispatch, public ::testing::WithParamInterface<FlowCase> {};

// Each case follows an add of generic flow 5, which left its reply text.
TEST_P(FlowOps, StatusTextAndTraces) {
  const FlowCase& c = GetParam();
  deliver(op(OFM_ADD_FLOW, 5));
  ASSERT_EQ(sent().size(), 1u);
  g_openflow_lp.mode = OFA_MODE_NONE;  // every flow operation puts the agent in generic mode
  std::string out = printed([&] { deliver(c.msg); });
  EXPECT_EQ(g_openflow_lp.mode, OFA_MODE_GENERIC);
  EXPECT_EQ(openflow_flow_count(), c.flows);
  EXPECT_EQ(generic_modify, 0);
  EXPECT_NE(out.find(c.words), std::string::npos) << out;
  if (!c.absent.empty()) {
    EXPECT_EQ(out.find(c.absent), std::string::npos) << out;
  }
  if (c.status < 0) {
    EXPECT_TRUE(sent().empty());
    return;
  }
  auto msgs = sent();
  ASSERT_EQ(msgs.size(), 1u);
  std::fill(msgs[0].begin() + 32, msgs[0].begin() + 48, 0);  // the times
  mgr::StatusMsg want{.flow_id = c.msg.flow_id,
                      .controller_word = kCtrlWord,
                      .xid = kXid,
                      .status = static_cast<uint32_t>(c.status),
                      .sub_type = c.msg.sub_type,
                      .text = c.text};
  EXPECT_EQ(msgs[0], mgr::encode(want).value());
}

const FlowCase kFlowCases[] = {
    {"add_replaces", op(1, 5), 1, "SUCCESS", "Exit ADD FLOW id: 5 after ", "", 1},
    {"add_refused", op(1, 5, 0, 3), 0, "Openflow not enabled in: 3 (3)",
     "msec; FAILURE Openflow not enabled in: 3 (3)", "", 0},
    {"failed_fragment_answers_at_once", op(1, 5, 1, OF_PORT_NONE, 3), 0,
     "Error - openflow_generic_mode_copy_flow: Copy Flow Action Failed",
     "Exit ADD FLOW id: 5 after ", "", 1},
    {"prefix_add", op(2, 6), 1, "SUCCESS", "Exit ADD_FLOW_PREFIX id: 6 after ", "", 2},
    {"delete_draws_none", op(3, 5), -1, "", "Exit DELETE_FLOW id: 5 after ", "", 0},
    {"modify_fragment_waits", op(4, 6, 1), -1, "", "Enter MODIFY_FLOW", "Exit MODIFY_FLOW", 2},
    {"modify_prefix", op(5, 5), 1, "SUCCESS", "Exit MODIFY_FLOW_PREFIX id: 5 after", "", 1},
    {"zero_add", op(1, 0), 0, "ERROR: Msg has: FLOW ID ZERO: XID: 7; ctrl_id: 2: type: ADD_FLOW",
     "Enter ADD_FLOW: Flow id: 0: ERROR_MSG: ERROR: Msg has: FLOW ID ZERO", "Exit", 1},
    {"zero_modify_prefix", op(5, 0), 0,
     "ERROR: Msg has: FLOW ID ZERO: XID: 7; ctrl_id: 2: type: MODIFY_FLOW_PREFIX", "ERROR_MSG", "",
     1},
    {"clear_stats_takes_zero", op(12, 0), -1, "", "OPENFLOW IPC: Clearing the flow stats: id 0",
     "ERROR_MSG", 1},
    {"members_refused_with_last_text", op(14, 5), 0, "SUCCESS",
     "Enter ADD_FLOW_MEMBERS: Flow id: 5; xid: 7 cid: 2: Last fragment!", "", 1},
    {"ctrl_stats", op(15, 5), -1, "", "OPENFLOW IPC: Clearing the controller stats", "", 1},
    {"delete_all_draws_none", op(17, 0), -1, "", "Exit DELETE_FLOWS", "", 0},
    {"default_zero", op(0, 5), -1, "", "Default case for openflow IPC", "", 1},
    {"default_above", op(18, 0), -1, "", "Default case for openflow IPC", "", 1}};

INSTANTIATE_TEST_SUITE_P(SubTypes, FlowOps, ::testing::ValuesIn(kFlowCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- length checks and registration ---------------------------------------------------------

struct LengthCase {
  const char* name;
  uint32_t type;
  uint32_t len;
  const char* words;  // printed, or null for a message that is taken
};

class Lengths : public Dispatch, public ::testing::WithParamInterface<LengthCase> {};

TEST_P(Lengths, ShortMessageIsTracedAndDropped) {
  const LengthCase& c = GetParam();
  Bytes body =
      c.type == MSGTYPE_OPENFLOW_FLOW_OPERATION ? mgr::encode_body(op(1, 6)).value() : Bytes(c.len);
  body.resize(c.len);
  Bytes d(4);
  ofa::wire::Writer(d.data(), d.size()).u32(ofa_msg_hdr(c.type, c.len));
  d.insert(d.end(), body.begin(), body.end());
  std::string out = printed([&] { deliver(d); });
  if (c.words) {
    EXPECT_NE(out.find(c.words), std::string::npos) << out;
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(openflow_flow_count(), 0u);
  } else {
    EXPECT_EQ(out.find("Invalid IPC length"), std::string::npos) << out;
  }
}

const LengthCase kLengthCases[] = {
    {"flow_315", MSGTYPE_OPENFLOW_FLOW_OPERATION, 315,
     "OPENFLOW PROCESS IPC: Invalid IPC length 315"},
    {"flow_316", MSGTYPE_OPENFLOW_FLOW_OPERATION, 316, nullptr},
    {"config_3719", MSGTYPE_OPENFLOW_CONFIG, 3719, "Error - Invalid IPC length 3719"},
    {"sync_315", MSGTYPE_OPENFLOW_SYNC_COMPLETE, 315,
     "Error - openflow_lp_process_sync_msg, Invalid IPC length 315"},
    {"sync_316", MSGTYPE_OPENFLOW_SYNC_COMPLETE, 316, nullptr},
    {"vlan_15", MSGTYPE_OPENFLOW_VLAN_IVID_UPD, 15,
     "Error - openflow_lp_process_vlan_iivid_update, Invalid IPC length 15"},
    {"port_vlan_15", MSGTYPE_OPENFLOW_PORT_VLAN_UPD, 15,
     "Error - openflow_lp_process_port_vlan_update, Invalid IPC length 15"},
    {"group_1055", MSGTYPE_OPENFLOW_GROUP_OPERATION, 1055,
     "Error - openflow_lp_process_group_operation, Invalid IPC length 1055"},
    {"evt_43", MXL_MSGTYPE_OPENFLOW_EVT_OPERATION, 43,
     "Error - openflow_lp_process_evt_operation, Invalid IPC length 43"}};

INSTANTIATE_TEST_SUITE_P(Handlers, Lengths, ::testing::ValuesIn(kLengthCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- configuration --------------------------------------------------------------------------

struct DefaultModeCase {
  const char* name;
  uint8_t add;
  std::set<size_t> fail;   // chip requests refused
  size_t requests;         // chip requests sent
  uint8_t default_action;  // afterwards
};

class DefaultMode : public Dispatch, public ::testing::WithParamInterface<DefaultModeCase> {};

// Two updates a chip (L2, then L3), chip by chip in table order (flat chip 1 first); a refused L2
// update skips that chip's L3 one. Port 5's catch-all has no slot on `ard`.
TEST_P(DefaultMode, UpdatesEveryChipsDefaultEntries) {
  const DefaultModeCase& c = GetParam();
  hsl().fail = c.fail;
  deliver(config(OFM_CONFIG_DEFAULT_MODE, c.add, 1));
  EXPECT_EQ(g_openflow_lp.default_action, c.default_action);
  const auto& q = hsl().requests;
  ASSERT_EQ(q.size(), c.requests);
  if (c.requests != 4) return;
  EXPECT_EQ((std::vector<uint32_t>{q[0].target, q[1].target, q[2].target, q[3].target}),
            (std::vector<uint32_t>{0x84400080, 0x84400080, 0x84400000, 0x84400000}));
  EXPECT_EQ(hsl().commands(), (std::vector<uint32_t>{OF_CMD_L2FLOW_UPD, OF_CMD_L3FLOW_UPD,
                                                     OF_CMD_L2FLOW_UPD, OF_CMD_L3FLOW_UPD}));
}

const DefaultModeCase kDefaultModeCases[] = {{"disable_form", 0, {}, 4, 1},
                                             {"l2_refused_on_chip_walked_first", 0, {0}, 3, 1},
                                             {"l3_refused_on_chip_walked_first", 0, {1}, 4, 1},
                                             {"enable_form_ignored", 1, {}, 0, 0},
                                             {"add_two_ignored", 2, {}, 0, 0}};

INSTANTIATE_TEST_SUITE_P(Chips, DefaultMode, ::testing::ValuesIn(kDefaultModeCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- ports and VLANs ------------------------------------------------------------------------

// IIVIDs 4000-4999 and mgids from 8000; the VLAN tables and the pseudo-VLAN made, and the group
// base.
class PortsDispatch : public Dispatch {
 protected:
  void SetUp() override {
    Dispatch::SetUp();
    ofa::test::set_test_iivids();
    ASSERT_EQ(openflow_vlan_init(), 0);
    ASSERT_EQ(openflow_lp_group_init(), 1);
    ASSERT_EQ(of_init_ivid_mac_table(), 0);
  }
};

mgr::ConfigMsg port_config(uint32_t sub_cmd, uint8_t add, uint16_t port, bool l3 = false) {
  mgr::ConfigMsg m = config(sub_cmd, add);
  m.ports.set(port);
  if (l3) m.l3_ports.set(port);
  m.port_id = port;
  m.pvid = 4020;
  m.if_name = std::string(40, 'n');  // the field's 32 bytes are taken
  m.if_index = ofa::platform::port_ifindex(1, port);
  m.port_address = {1, 2, 3, 4, 5, 6};
  m.def_nhop_id = 11;
  return m;
}

// Port 30 lies on slot 2. Before the agent's start an enable is dropped. An enable or a disable
// sends the port's bulk, its translations, and the pseudo-VLAN's flood group on every chip (the
// two of slot 1 and the one that port 30's entry made in slot 2); an enable takes the port block
// of the message, offsets 3666 to 3719.
TEST_F(PortsDispatch, EnableTakesThePortBlockAndDisableDropsIt) {
  const std::vector<uint32_t> change{OF_CMD_BULK, OF_CMD_PORT_VLAN_CFG, OF_CMD_MGID_ADD,
                                     OF_CMD_MGID_ADD, OF_CMD_MGID_ADD};
  ASSERT_NE(port(30, 2, 3), nullptr);
  openflow_init_completed = 0;
  deliver(port_config(10, 1, 3));
  EXPECT_EQ(ofLookupIfEntrybyPortId(3), nullptr);
  openflow_init_completed = 1;
  hsl().requests.clear();
  deliver(port_config(10, 1, 3, true));
  EXPECT_EQ(hsl().commands(), change);
  EXPECT_EQ(g_openflow_portdb_lp[2].flags, OF_CATCHALL_VALID);
  of_if_entry* e = ofLookupIfEntrybyPortId(3);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ((std::vector<uint32_t>{e->of_l3_type, e->pvid, e->of_def_nhop_id, e->ifIndex}),
            (std::vector<uint32_t>{1, 4020, 11, ofa::platform::port_ifindex(1, 3)}));
  EXPECT_EQ(std::string(e->ifName), std::string(OF_IF_NAME_SIZE - 1, 'n'));
  EXPECT_EQ(Bytes(e->port_address, e->port_address + 6), (Bytes{1, 2, 3, 4, 5, 6}));
  hsl().requests.clear();
  deliver(port_config(10, 0, 3));
  EXPECT_EQ(hsl().commands(), change);
  EXPECT_EQ(ofLookupIfEntrybyPortId(3), nullptr);
  EXPECT_EQ(g_openflow_portdb_lp[2].flags, 0);
}

struct VlanCase {
  const char* name;
  mgr::Message msg;
  const char* words;
  const char* absent;
  uint8_t mode = OFA_MODE_GENERIC;  // the agent's, for the message
};

mgr::Message vlan(uint16_t sub, uint32_t iivid, uint32_t vlan_id) {
  return mgr::VlanMsg{sub, iivid, vlan_id};
}
mgr::Message port_vlan(uint16_t sub, uint32_t port, uint32_t vlan_id) {
  return mgr::PortVlanMsg{sub, port, vlan_id};
}
// A P-type EVT of IIVID 4010 out as VLAN 100.
mgr::Message evt(uint16_t sub, uint32_t port, uint32_t tag_action = 1) {
  return mgr::EvtMsg{sub, 0, 0, 4010, tag_action, 0, 100, port};
}

// An ALL group on port 5 in VLAN 100.
mgr::Message group(uint16_t sub, uint32_t id) {
  mgr::GroupMsg m;
  m.sub_type = sub;
  m.group_id = id;
  m.mgid = 8100;
  m.buckets = {{5, 100, {}}};
  return m;
}

class VlanMsgs : public PortsDispatch, public ::testing::WithParamInterface<VlanCase> {};

// VLAN 100 (IIVID 4010) with port 5 as its member, port 3, and group 5 exist before each message;
// before the agent's start, the messages wait.
TEST_P(VlanMsgs, TracesAndTables) {
  const VlanCase& c = GetParam();
  ASSERT_NE(port(3, 1, 3), nullptr);
  deliver(vlan(28, 4010, 100));
  deliver(port_vlan(26, 5, 100));
  deliver(group(19, 5));
  g_openflow_lp.mode = c.mode;
  std::string out = printed([&] { deliver(c.msg); });
  EXPECT_NE(out.find(c.words), std::string::npos) << out;
  if (c.absent) {
    EXPECT_EQ(out.find(c.absent), std::string::npos) << out;
  }
  EXPECT_TRUE(sent().empty());
}

const VlanCase kVlanCases[] = {
    {"add", vlan(28, 4020, 200), "Enter ADD VLAN: vlan_id: 200 iivid", "Exit"},
    {"add_waits", vlan(28, 4020, 200), "Adding VLAN: Openflow is not enabled", "Enter",
     OFA_MODE_NONE},
    {"port_add_waits", port_vlan(26, 3, 100), "Adding PORT to VLAN: Openflow is not enabled",
     "Enter", OFA_MODE_NONE},
    {"group_add_waits", group(19, 6), "Adding Group 6: Openflow is not enabled", "Enter",
     OFA_MODE_NONE},
    {"delete", vlan(29, 0, 100), "Enter DEL VLAN: vlan_id: 100", "Exit"},
    {"vlan_default", vlan(30, 0, 7), "Default case for VLAN IPC handling", nullptr},
    {"port_add", port_vlan(26, 3, 100), "Enter ADD PORT VLAN: port_id: 3 vlan_id: 100", "Exit"},
    {"port_delete", port_vlan(27, 5, 100), "Enter DEL PORT VLAN", "Exit"},
    {"port_vlan_default", port_vlan(5, 5, 100), "Default case for PORT VLAN IPC handling", nullptr},
    {"group_add", group(19, 6), "Enter ADD GROUP: Group id: 6 ", "Exit"},
    {"group_add_known", group(19, 5), "Exit ADD GROUP id: 5 after ", nullptr},
    {"group_add_id_zero", group(19, 0), "Enter ADD GROUP: Group id: 0 ", "Exit"},
    {"group_modify", group(20, 5), "Enter MODIFY GROUP: Group id: 5 ", "Exit"},
    {"group_sub_type_25_id_zero", group(25, 0), "GROUP id: 0: ERROR_MSG", "Default"},
    {"group_default", group(22, 5), "Default case for Group IPC handling", nullptr},
    {"group_delete", group(21, 5), "Enter DELETE GROUP: Group id: 5 ", "Exit"},
    {"group_delete_unknown", group(21, 9), "Exit DELETE GROUP: Group id: 9 after ", nullptr},
    {"evt_add", evt(30, 3),
     "EVT DBG: is_out_vlan_tag: 0, out_port: 3 out_vlan: 100\nEnter ADD EVT: out_port: 3 "
     "iivid: 4010",
     "Exit"},
    {"evt_add_failure_word", evt(30, 3, 4), "msec; FAILURE", nullptr},
    {"evt_delete_in_default", evt(31, 3), "Enter DEL EVT: out_port: 3 iivid: 4010", "Exit"},
    {"protected_vlan_programs_nothing", port_config(16, 1, 4), "sub_cmd = 16, add = 1",
     "Interface create"},
    {"evt_default", evt(32, 3), "OPENFLOW METER IPC: Default case for EVT IPC handling", nullptr}};

INSTANTIATE_TEST_SUITE_P(SubTypes, VlanMsgs, ::testing::ValuesIn(kVlanCases),
                         [](const auto& info) { return std::string(info.param.name); });

// A global disable deletes the flows' entries and every group's next hop and forwarding entries,
// empties every flood group, removes every VLAN (the pseudo-VLAN too), then takes OpenFlow off each
// port: its bulk alone, with no translations and no flood group left. The agent's records start
// again and it registers anew; enabling is no change.
TEST_F(PortsDispatch, GlobalDisableTearsDownInOrderAndRegistersAgain) {
  deliver(port_config(10, 1, 3));
  deliver(vlan(28, 4010, 100));
  deliver(port_vlan(26, 3, 100));
  mgr::GroupMsg indirect = std::get<mgr::GroupMsg>(group(19, 5));
  indirect.type = mgr::kGroupIndirect;
  deliver(indirect);
  deliver(op(OFM_ADD_FLOW, 5));
  sent();
  g_openflow_lp.default_action = 1;
  deliver(config(OFM_CONFIG_OF, 1));
  EXPECT_EQ(openflow_flow_count(), 1u);
  EXPECT_TRUE(sent().empty());
  hsl().requests.clear();
  std::string out = printed([&] { deliver(config(OFM_CONFIG_OF, 0)); });
  std::vector<uint32_t> want{OF_CMD_L2FLOW_DEL, OF_CMD_L2FLOW_DEL};
  auto every_chip = [&](uint32_t cmd, int times) { want.insert(want.end(), 2 * times, cmd); };
  every_chip(OF_CMD_NHOP_DEL, 1);
  every_chip(OF_CMD_L2FWD_DEL, 1);
  every_chip(OF_CMD_MGID_ADD, 2);  // the pseudo-VLAN and VLAN 100
  for (int vlans = 0; vlans < 2; ++vlans) {
    every_chip(OF_CMD_PARTITION_ID, 2);
    every_chip(OF_CMD_BULK, 1);
    every_chip(OF_CMD_VID_TO_MGID, 1);
  }
  want.insert(want.end(), {OF_CMD_BULK, OF_CMD_BULK});  // ports 5 and 3
  EXPECT_EQ(hsl().commands(), want);
  EXPECT_EQ(of_get_vlan_count(), 1u);
  EXPECT_EQ(of_get_port_count(), 0);
  EXPECT_EQ(of_lp_group_get_group_count(), 0u);
  EXPECT_EQ(openflow_flow_count(), 0u);
  EXPECT_EQ(
      std::make_tuple(g_openflow_lp.mode, g_openflow_lp.default_action, openflow_init_completed),
      std::make_tuple(uint8_t{OFA_MODE_GENERIC}, uint8_t{0}, 1));
  EXPECT_NE(out.find("OPENFLOW Agent register with manager"), std::string::npos);
  EXPECT_EQ(sent(), std::vector<Bytes>{ofa::test::hex("02C00008 02C00004 00000001")});
  deliver(op(OFM_ADD_FLOW, 5));  // the tables are back
  EXPECT_EQ(openflow_flow_count(), 1u);
}

}  // namespace
