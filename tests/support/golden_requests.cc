#include "golden_requests.h"

#include <array>
#include <stdexcept>

// Rows leave out the simulator's side where it does not apply, and a zero answer.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace ofa::test {
namespace {

const of_mac kMacA = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
const of_mac kMacB = {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const of_mac kMaskA = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00};
const uint32_t kPorts3[] = {0x18408000, 0x18410000, 0x18418000};
const uint32_t kPorts1a[] = {0x18408000};
const uint32_t kPorts1b[] = {0x18410000};

uint32_t bulk_of_two(std::span<uint8_t> a, bool flag) {
  std::array<uint8_t, 64> sub{};
  of_bulk_init(a, flag);
  of_build_mgid_del(sub, 7);
  of_bulk_add(a, sub);
  of_build_region_del_all(sub, OF_LDEV_L3);
  return of_bulk_add(a, sub);
}

of_l2flow_params l2_full() {
  of_l2flow_key key{.in_port = 0x18408000,
                    .iivid = 0x0123,
                    .tag = OF_L2_TAG_TAGGED,
                    .src_mac = kMacA,
                    .dst_mac = kMacB,
                    .vlan_pri = 5,
                    .ether_type = 0x0800,
                    .tag_mask = OF_L2_TAGMASK_TAGGED,
                    .valid = OF_L2_VALID_ETHER | OF_L2_VALID_IIVID | OF_L2_VALID_VPRI |
                             OF_L2_VALID_INPORT | of_l2_valid_iivid_mask(0x3FFF),
                    .src_mac_mask = kMaskA,
                    .dst_mac_mask = kMaskA};
  of_l2_result result{
      .dest = 0x18410000,
      .policer_id = 9,
      .fwd_action = 0,
      .flags = OF_L2_FLAG_ACTION_VALID | OF_L2_FLAG_POLICER | of_l2_flag_dscp(46) |
               OF_L2_FLAG_REWRITE_DSCP,
      .qos = of_l2_qos_vpri(3) | of_l2_qos_queue(5) | OF_L2_QOS_VALID | OF_L2_QOS_NO_STATS};
  return {0x101, 0x55, 0x66, 20, key, result};
}

of_l3flow_params l3_full() {
  of_l3flow_key key{.in_port = 0x18408000,
                    .iivid = 0x0200,
                    .dscp = 0x2E,
                    .vlan_pri = 6,
                    .src_ip = 0x0A000001,
                    .dst_ip = 0xC0A80101,
                    .ip_proto = 6,
                    .l4_valid = OF_L3_L4VALID_DST | OF_L3_L4VALID_SRC,
                    .l4_src = 1234,
                    .l4_dst = 80,
                    .valid = OF_L3_VALID_PROTO | OF_L3_VALID_INPORT | OF_L3_VALID_IIVID,
                    .l4_src_mask = 0xFFFF,
                    .l4_dst_mask = 0xFF00,
                    .src_ip_mask = 0xFFFFFF00,
                    .dst_ip_mask = 0xFFFFFFFF};
  of_l3_result result{
      .nhop_id = 0x10000005,
      .flags_a = OF_L3_FA_DEST_VALID | OF_L3_FA_ACTION_VALID | of_l3_fa_queue(2),
      .flags_b = of_l3_fb_vpri(5) | of_l3_fb_policer(0x123),
      .mcast = OF_L3_MC_VALID | of_l3_mc_type(1) | of_l3_mc_mgid(0x1001) | OF_L3_MC_L2,
      .egr_flag = OF_L3_EGR_VALID,
      .egr_ifindex = 0x18418000};
  return {7, 3, 4, 20, key, result};
}

const of_nhop_path kPathA = {0x18408000, 0x0064, kMacA, 0, 0};
const of_nhop_path kPathB = {0x18410000, 0x0065, kMacB, 0, 0};
const of_nhop_path kPaths3[] = {kPathA, kPathB, kPathA};

const of_vlan_pair kPairs2[] = {{0x105, 100}, {0x106, 200}};

}  // namespace

const std::vector<GoldenRequest>& golden_requests() {
  // clang-format off
  static const std::vector<GoldenRequest> table = {
    {"hdr_checked_bad_len",
     [](auto a) { return of_cos_hdr_init_checked(a, 0x04272001, 30, 32, 1); }, 30, 32,
     "0: 04272001 | 8: 0000001E 00000020 00010000 | 24: FFFFFF91"},
    {"bulk", [](auto a) { return bulk_of_two(a, false); }, 108, 108,
     "0: 00070000 | 8: 0000006C 0000006C | 32: 0002 | 36: 0527000A 00000000 00000024 00000024 | "
     "64: 00000007 | 72: 07270229 00000000 00000024 00000024 | 100: 17C00000"},
    {"bulk_ard2_batch", [](auto a) { return bulk_of_two(a, true); }, 108, 108,
     "0: 00070000 | 8: 0000006C 0000006C | 28: 80000000 0002 | "
     "36: 0527000A 00000000 00000024 00000024 | 64: 00000007 | "
     "72: 07270229 00000000 00000024 00000024 | 100: 17C00000"},
    {"region", [](auto a) { return of_build_region_req(a, {10, 20, 1000, 62, 16}); }, 48, 48,
     "0: 07270220 | 8: 00000030 00000030 | 28: 0A1401 | 36: 000003E8 0000003E 00000010",
     of_req_family::ard, {},
     R"({"ldev":10,"region":20,"type":1,"reserved":0,"size":1000,"initial":62,"increment":16})"},
    {"region_l3", [](auto a) { return of_build_region_req(a, {23, 20, 1000, 62, 16}); }, 48, 48,
     "0: 07270220 | 8: 00000030 00000030 | 28: 171401 | 36: 000003E8 0000003E 00000010",
     of_req_family::ard, {},
     R"({"ldev":23,"region":20,"type":1,"reserved":0,"size":1000,"initial":62,"increment":16})"},
    {"region_del_all_l2", [](auto a) { return of_build_region_del_all(a, 10); }, 36, 36,
     "0: 07270229 | 8: 00000024 00000024 | 28: 0AC00000", of_req_family::ard, {},
     R"({"ldev":10,"word":180355072})"},
    {"l2flow", [](auto a) { return of_build_l2flow_req(a, l2_full()); }, 184, 184,
     "0: 07270050 | 8: 000000B8 000000B8 | 28: 00000101 00000055 00000066 14 00 01 00 18408000 | "
     "56: 0123 | 68: 00040000 | 76: 001122334455 AABBCCDDEEFF A0 00 0800 | 104: 00000100 | "
     "112: FFFC4380 | 124: FFFFFF000000 FFFFFF000000 | 136: 18410000 00000000 00000009 | "
     "160: 00 | 164: 00006E21 0000B430", of_req_family::ard, {"region"},
     R"({"handle":257,"before":85,"after":102,"region":20,"type":1,"key":{"in_port":406880256,"iivid":291,"iivid_mask":16383,"tag_value":262144,"tag_mask":256,"src_mac":"00:11:22:33:44:55","src_mac_mask":"ff:ff:ff:00:00:00","dst_mac":"aa:bb:cc:dd:ee:ff","dst_mac_mask":"ff:ff:ff:00:00:00","vlan_prio":5,"ether_type":2048,"vpn_id":0,"valid":4294722432},"result":{"dest":406913024,"policer":9,"fwd_action":0,"flags":28193,"qos":46128}})",
     -34},
    {"l2flow_first_of_region",
     [](auto a) { return of_build_l2flow_req(a, {.handle = 0x101, .region = 20}); }, 184, 184, "0: 07270050 | 8: 000000B8 000000B8 | 28: 00000101 | 40: 140001", of_req_family::ard,
     {"region"},
     R"({"handle":257,"before":0,"after":0,"region":20,"type":1,"key":{"in_port":0,"iivid":0,"iivid_mask":0,"tag_value":0,"tag_mask":0,"src_mac":"00:00:00:00:00:00","src_mac_mask":"00:00:00:00:00:00","dst_mac":"00:00:00:00:00:00","dst_mac_mask":"00:00:00:00:00:00","vlan_prio":0,"ether_type":0,"vpn_id":0,"valid":0},"result":{"dest":0,"policer":0,"fwd_action":0,"flags":0,"qos":0}})"},
    {"l2flow_upd",
     [](auto a) {
       of_l2_result r{.dest = 0x1001, .fwd_action = 3,
                      .flags = OF_L2_FLAG_ACTION_VALID | OF_L2_FLAG_COPY_CTRL | OF_L2_FLAG_DEST_MGID};
       return of_build_l2flow_upd_req(a, 0x101, 20, r);
     },
     84, 84,
     "0: 07270051 | 8: 00000054 00000054 | 28: 00000101 1401 | 36: 00001001 | 60: 03 | "
     "64: 00080009", of_req_family::ard, {"region", "l2flow_first_of_region"},
     R"({"handle":257,"region":20,"type":1,"result":{"dest":4097,"policer":0,"fwd_action":3,"flags":524297,"qos":0}})"},
    {"l2flow_del", [](auto a) { return of_build_flow_del_req(a, OF_CMD_L2FLOW_DEL, 0x101, 20); },
     36, 36, "0: 07270052 | 8: 00000024 00000024 | 28: 00000101 14", of_req_family::ard,
     {"region", "l2flow_first_of_region"}, R"({"handle":257,"region":20})"},
    {"l3flow_del", [](auto a) { return of_build_flow_del_req(a, OF_CMD_L3FLOW_DEL, 7, 20); }, 36,
     36, "0: 072700BA | 8: 00000024 00000024 | 28: 00000007 14", of_req_family::ard,
     {"region_l3", "l3flow_first_of_region"}, R"({"handle":7,"region":20})"},
    {"l3flow", [](auto a) { return of_build_l3flow_req(a, l3_full()); }, 208, 208,
     "0: 072700B8 | 8: 000000D0 000000D0 | 28: 00000007 00000003 00000004 14 00 01 00 18408000 | "
     "56: 0200 | 80: 2E 06 | 92: 0A000001 C0A80101 000000 06 | "
     "108: 00000820 04D2 0050 80800008 | 124: FFFF FF00 FFFFFF00 FFFFFFFF | 164: 10000005 | "
     "184: 00001210 02474000 A0800820 80000000 18418000", of_req_family::ard, {"region_l3"},
     R"({"handle":7,"before":3,"after":4,"region":20,"type":1,"key":{"in_port":406880256,"iivid":512,"dscp":46,"vlan_prio":6,"src_ip":167772161,"src_ip_mask":4294967040,"dst_ip":3232235777,"dst_ip_mask":4294967295,"ip_proto":6,"vpn_id":0,"l4_valid":2080,"l4_src":1234,"l4_src_mask":65535,"l4_dst":80,"l4_dst_mask":65280,"valid":2155872264},"result":{"nhop":268435461,"fwd_action":0,"flags_a":4624,"flags_b":38223872,"mcast":2692745248,"egress_valid":2147483648,"egress_if":406945792}})",
     -34},
    {"l3flow_first_of_region",
     [](auto a) { return of_build_l3flow_req(a, {.handle = 7, .region = 20}); }, 208, 208, "0: 072700B8 | 8: 000000D0 000000D0 | 28: 00000007 | 40: 140001", of_req_family::ard,
     {"region_l3"},
     R"({"handle":7,"before":0,"after":0,"region":20,"type":1,"key":{"in_port":0,"iivid":0,"dscp":0,"vlan_prio":0,"src_ip":0,"src_ip_mask":0,"dst_ip":0,"dst_ip_mask":0,"ip_proto":0,"vpn_id":0,"l4_valid":0,"l4_src":0,"l4_src_mask":0,"l4_dst":0,"l4_dst_mask":0,"valid":0},"result":{"nhop":0,"fwd_action":0,"flags_a":0,"flags_b":0,"mcast":0,"egress_valid":0,"egress_if":0}})"},
    {"l3flow_upd",
     [](auto a) {
       of_l3_result r{.fwd_action = 3, .flags_a = OF_L3_FA_ACTION_VALID, .flags_b = OF_L3_FB_TO_CTRL};
       return of_build_l3flow_upd_req(a, 7, 20, r);
     },
     80, 80,
     "0: 072700B9 | 8: 00000050 00000050 | 28: 00000007 1401 | 40: 03 | 56: 00000200 80000000",
     of_req_family::ard, {"region_l3", "l3flow_first_of_region"},
     R"({"handle":7,"region":20,"type":1,"result":{"nhop":0,"fwd_action":3,"flags_a":512,"flags_b":2147483648,"mcast":0,"egress_valid":0,"egress_if":0}})"},
    {"mgid_l2_group",
     [](auto a) {
       of_mgid_member m{0xFFFFFFFF, 0x105, kPorts3};
       return of_build_mgid_req(a, OF_CMD_MGID_ADD, 0x2001, {&m, 1}, OF_MGID_L2_GROUP_SIZE);
     },
     312, 312,
     "0: 05270008 | 8: 00000138 00000138 | 28: 00002001 00000001 | "
     "36: FFFFFFFF 00000105 00000000 01 00 0003 00000000 | 56: 18408000 18410000 18418000",
     of_req_family::ard, {},
     R"({"mgid":8193,"count":1,"members":[{"word0":4294967295,"iivid":261,"ports":[406880256,406913024,406945792]}]})"},
    {"mgid_l3_group",
     [](auto a) {
       of_mgid_member m[2] = {{0xFFFFFFFF, 0x105, kPorts1a}, {0, 0x106, kPorts1b}};
       return of_build_mgid_req(a, OF_CMD_MGID_UPD, 0x2001, m, 0);
     },
     84, 84,
     "0: 05270009 | 8: 00000054 00000054 | 28: 00002001 00000002 | "
     "36: FFFFFFFF 00000105 00000000 0100 0001 00000000 18408000 | "
     "60: 00000000 00000106 00000000 0100 0001 00000000 18410000", of_req_family::ard,
     {"mgid_l2_group"},
     R"({"mgid":8193,"count":2,"members":[{"word0":4294967295,"iivid":261,"ports":[406880256]},{"word0":0,"iivid":262,"ports":[406913024]}]})"},
    {"mgid_del", [](auto a) { return of_build_mgid_del(a, 0x2001); }, 36, 36,
     "0: 0527000A | 8: 00000024 00000024 | 28: 00002001", of_req_family::ard, {"mgid_l2_group"},
     R"({"mgid":8193})"},
    {"nhop_single",
     [](auto a) {
       of_nhop_params p{0x10000001, OF_NHOP_KIND_SINGLE, 0, {&kPathB, 1}};
       return of_build_nhop_add(a, p);
     },
     56, 56,
     "0: 0427180C | 8: 00000038 00000038 | 28: 10000001 00 01 01 00 | "
     "36: 18410000 0065 AABBCCDDEEFF 0000 0000 00000000", of_req_family::ard, {},
     R"({"nhopid":268435457,"count":1,"kind":1,"marker":0,"paths":[{"ifindex":406913024,"iivid":101,"mac":"aa:bb:cc:dd:ee:ff","byte12":0,"byte13":0}]})"},
    {"nhop_multi_three_paths_is_196",
     [](auto a) {
       of_nhop_params p{0x10000002, OF_NHOP_KIND_MULTI, 0, kPaths3};
       return of_build_nhop_add(a, p);
     },
     196, 196,
     "0: 0427180C | 8: 000000C4 000000C4 | 28: 10000002 00 03 02 00 | "
     "36: 18408000 0064 001122334455 | 56: 18410000 0065 AABBCCDDEEFF | "
     "76: 18408000 0064 001122334455", of_req_family::ard, {},
     R"({"nhopid":268435458,"count":3,"kind":2,"marker":0,"paths":[{"ifindex":406880256,"iivid":100,"mac":"00:11:22:33:44:55","byte12":0,"byte13":0},{"ifindex":406913024,"iivid":101,"mac":"aa:bb:cc:dd:ee:ff","byte12":0,"byte13":0},{"ifindex":406880256,"iivid":100,"mac":"00:11:22:33:44:55","byte12":0,"byte13":0}]})"},
    {"nhop_port_zim_bits",
     [](auto a) {
       of_nhop_path e{0x18408000, 0x0064, kMacA, 0x10, 0x00};
       of_nhop_params p{0x10000003, OF_NHOP_KIND_PORT, OF_NHOP_B35_PORT | 1, {&e, 1}};
       return of_build_nhop_add(a, p);
     },
     56, 56,
     "0: 0427180C | 8: 00000038 00000038 | 28: 10000003 00 01 10 81 | "
     "36: 18408000 0064 001122334455 10 00", of_req_family::zim, {},
     R"({"nhopid":268435459,"count":1,"kind":16,"marker":129,"paths":[{"ifindex":406880256,"iivid":100,"mac":"00:11:22:33:44:55","byte12":16,"byte13":0}]})"},
    {"nhop_del", [](auto a) { return of_build_nhop_del(a, 0x10000001, false); }, 40, 40,
     "0: 0427180D | 8: 00000028 00000028 | 32: 00000001 10000001", of_req_family::ard,
     {"nhop_single"}, R"({"count":1,"nhopid":268435457})"},
    {"nhop_del_zim_short_puts_id_behind_length",
     [](auto a) { return of_build_nhop_del(a, 0x10000003, true); }, 36, 40,
     "0: 0427180D | 8: 00000024 00000024 | 36: 10000003", of_req_family::zim,
     {"nhop_port_zim_bits"}, R"({"count":0,"nhopid":268435459})"},
    {"port_cfg", [](auto a) { return of_build_port_cfg(a, 0x18408000, kMacA, 0x4D2); }, 52, 52,
     "0: 04272001 | 8: 00000034 00000034 04D20000 | 24: FFFFFF8E | 28: 06 | 32: 80000000 | "
     "38: 001122334455 | 48: 18408000", of_req_family::ard, {},
     R"({"selector":6,"word":2147483648,"port_address":"00:11:22:33:44:55","ifindex":406880256,"owner":80871424})"},
    {"port_ctl",
     [](auto a) {
       of_port_ctl_params p{.ifindex = 0x18408000, .change_mask = (1u << 16) | (1u << 17),
                            .ppid_valid = true, .is_typ_cls = true, .is_mac_cls = false, .ppid = 7};
       return of_build_port_ctl(a, p, 0x4D2);
     },
     84, 84,
     "0: 04272001 | 8: 00000054 00000054 04D20000 | 24: FFFFFF8E | "
     "32: 18408000 00030000 00080000 | 48: 00000040 00000000 00000380", of_req_family::ard, {},
     R"({"selector":0,"ifindex":406880256,"change_mask":196608,"word40":524288,"word48":64,"word52":0,"ppid":7,"owner":80871424})"},
    {"port_vlan_wide_ard",
     [](auto a) {
       of_port_vlan_wide_params p{0x18408000, 4, 7, false, true, true, 100};
       return of_build_port_vlan_wide(a, p, of_req_family::ard);
     },
     1108, 1108,
     "0: 04272003 | 8: 00000454 00000454 | 28: 18408000 | 36: 6C400000 26400000 | 48: 00000064 | "
     "84: 000000F0", of_req_family::ard, {},
     R"({"form":"port","ifindex":406880256,"change_mask":1816133632,"values":641728512,"pvid":100,"iivids":["4-7"]})"},
    {"port_vlan_wide_ard2_no_pvid",
     [](auto a) {
       of_port_vlan_wide_params p{0x18408000, 31, 33, true, false, false, 100};
       return of_build_port_vlan_wide(a, p, of_req_family::ard2);
     },
     2132, 2132,
     "0: 04272003 | 8: 00000854 00000854 | 28: 18408000 | 36: 68400000 20800000 | "
     "84: 80000000 00000003", of_req_family::ard2, {},
     R"({"form":"port","ifindex":406880256,"change_mask":1749024768,"values":545259520,"pvid":0,"iivids":["31-33"]})"},
    {"port_vlan_xlate_ard",
     [](auto a) {
       return of_build_port_vlan_xlate(a, 0x18408000, {0x105, 100}, true, of_req_family::ard);
     },
     92, 92,
     "0: 04272003 | 8: 0000005C 0000005C | 28: 18408000 | 36: 00280000 00200000 | 56: 00000001 | "
     "84: 00000105 00000064", of_req_family::ard, {},
     R"({"form":"translation","ifindex":406880256,"change_mask":2621440,"values":2097152,"count":1,"pairs":[{"iivid":261,"vlan":100}]})"},
    {"port_vlan_xlate_zim",
     [](auto a) {
       return of_build_port_vlan_xlate(a, 0x18408000, {0x105, 100}, false, of_req_family::zim);
     },
     96, 96,
     "0: 04272003 | 8: 00000060 00000060 | 28: 18408000 | 36: 01280000 | 56: 00000001 | "
     "84: 00000105 00000064 00000064", of_req_family::zim, {},
     R"({"form":"translation","ifindex":406880256,"change_mask":19398656,"values":0,"count":1,"pairs":[{"iivid":261,"vlan":100,"vlan2":100}]})"},
    {"port_vlan_partition_ard2",
     [](auto a) {
       return of_build_port_vlan_partition(a, {0x105, 4011}, true, of_req_family::ard2);
     },
     92, 92,
     "0: 04272003 | 8: 0000005C 0000005C | 32: 0001 0007 | 36: 00280000 00200000 | "
     "56: 00000001 | 84: 00000105 00000FAB", of_req_family::ard2, {},
     R"({"form":"translation","ifindex":0,"partition_one":1,"partition":7,"change_mask":2621440,"values":2097152,"count":1,"pairs":[{"iivid":261,"vlan":4011}]})"},
    {"port_vlan_batch_ard",
     [](auto a) {
       return of_build_port_vlan_batch(a, 0x18408000, kPairs2, true, of_req_family::ard);
     },
     2084, 2084,
     "0: 04272003 | 8: 00000824 00000824 | 28: 18408000 | 36: 00280000 00200000 | 56: 00000002 | "
     "84: 00000105 00000106 00000064 000000C8", of_req_family::ard, {},
     R"({"form":"batch","ifindex":406880256,"change_mask":2621440,"values":2097152,"count":2,"pairs":[{"iivid":261,"vlan":100},{"iivid":262,"vlan":200}]})"},
    {"port_vlan_batch_zim",
     [](auto a) {
       return of_build_port_vlan_batch(a, 0x18408000, kPairs2, false, of_req_family::zim);
     },
     3084, 3084,
     "0: 04272003 | 8: 00000C0C 00000C0C | 28: 18408000 | 36: 01280000 | 56: 00000002 | "
     "84: 00000105 00000106 00000064 000000C8 00000064 000000C8", of_req_family::zim, {},
     R"({"form":"batch","ifindex":406880256,"change_mask":19398656,"values":0,"count":2,"pairs":[{"iivid":261,"vlan":100,"vlan2":100},{"iivid":262,"vlan":200,"vlan2":200}]})"},
    {"evt_add_ard2",
     [](auto a) { return of_build_evt_req(a, OF_CMD_EVT_ADD, 0x18408000, {0x105, 100}, true); }, 92,
     92,
     "0: 04272004 | 8: 0000005C 0000005C | 28: 18408000 | 36: 00680000 00600000 | 56: 00000001 | "
     "84: 00000105 00000064", of_req_family::ard2, {},
     R"({"ifindex":406880256,"change_mask":6815744,"values":6291456,"count":1,"pairs":[{"iivid":261,"vlan":100}]})"},
    {"eft_ard2", [](auto a) { return of_build_eft_req(a, 0x18408000, {0x105, 100}, true); }, 92, 92,
     "0: 04272003 | 8: 0000005C 0000005C | 28: 18408000 | 36: 00680100 00600000 | 56: 00000001 | "
     "84: 00000105 00000064", of_req_family::ard2, {},
     R"({"form":"eft","ifindex":406880256,"change_mask":6816000,"values":6291456,"count":1,"pairs":[{"iivid":261,"vlan":100}]})"},
    {"partition_id", [](auto a) { return of_build_partition_id(a, 1, 0x105, 100); }, 48, 48,
     "0: 04272006 | 8: 00000030 00000030 | 28: 0007 0001 | 36: 00000001 00000105 00000064",
     of_req_family::ard, {}, R"({"ppid":7,"rte":1,"count":1,"iivid":261,"vlan":100})"},
    {"ivt_vlan", [](auto a) { return of_build_ivt_vlan(a, OF_CMD_IVT_ADD, 100, 0x105); }, 152, 152,
     "0: 04272025 | 8: 00000098 00000098 | 28: 00000001 13000000 064E0000 | 52: 04178000",
     of_req_family::ard2, {},
     R"({"count":1,"key_type":19,"word32":318767104,"iivid":261,"marker":14,"vlan":100})"},
    {"ivt_port", [](auto a) { return of_build_ivt_port(a, OF_CMD_IVT_DEL, 0x18408000, 0x105); },
     152, 152,
     "0: 04272026 | 8: 00000098 00000098 | 28: 00000001 01000000 | 40: 18408000 | 52: 04174000",
     of_req_family::ard2, {},
     R"({"count":1,"key_type":1,"word32":16777216,"iivid":261,"marker":13,"ifindex":406880256})"},
    {"vid_to_mgid", [](auto a) { return of_build_vid_to_mgid(a, 0x105, 0x1ABCD); }, 56, 56,
     "0: 04272007 | 8: 00000038 00000038 | 44: 00000001 | 50: 0105 0001ABCD", of_req_family::ard,
     {}, R"({"count":1,"iivid":261,"mgid":109517})"},
    {"port_l2_ctrl", [](auto a) { return of_build_port_l2_ctrl(a, 0x18408000, 1, 1); }, 60, 60,
     "0: 04272014 | 8: 0000003C 0000003C | 28: 00000001 00020000 00000004 | "
     "48: 18408000 00000001 00000001", of_req_family::ard, {},
     R"({"count":1,"word32":131072,"word36":4,"ifindex":406880256,"lldp_vlan_ovrd":1,"l2_ctrl_ovrd":1})"},
    {"port_vpn", [](auto a) { return of_build_port_vpn(a, 0x18408000, 0xFFE01); }, 44, 44,
     "0: 04272024 | 8: 0000002C 0000002C | 28: 18408000 80000000 000FFE01", of_req_family::ard, {},
     R"({"ifindex":406880256,"word":2147483648,"vpnid":1048065})"},
    {"port_qos_init_enabling", [](auto a) { return of_build_port_qos_init(a, 0x18408000, true); },
     160, 160,
     "0: 01271002 | 8: 000000A0 000000A0 | 28: 18408000 | "
     "32: 01000000 00010000 02020000 03030000 04040000 05050000 06060000 07070000 | "
     "64: 01000000 00010000 02020000 03030000 04040000 05050000 06060000 07070000 | "
     "96: 01000000 00010000 02020000 03030000 04040000 05050000 06060000 07070000 | "
     "128: 01000000 00010000 02020000 03030000 04040000 05050000 06060000 07070000",
     of_req_family::ard, {},
     R"({"ifindex":406880256,"classes":[1,0,2,3,4,5,6,7,1,0,2,3,4,5,6,7,1,0,2,3,4,5,6,7,1,0,2,3,4,5,6,7],"enabled":[0,1,2,3,4,5,6,7,0,1,2,3,4,5,6,7,0,1,2,3,4,5,6,7,0,1,2,3,4,5,6,7]})"},
    {"l2fwd_add", [](auto a) { return of_build_l2fwd_add(a, 0x105, kMacB, 0x18408000); }, 76, 76,
     "0: 04270800 | 8: 0000004C 0000004C | 40: 40000105 AABBCCDDEEFF | 64: 18408000 0300",
     of_req_family::ard, {},
     R"({"word40":1073742085,"iivid":261,"mac":"aa:bb:cc:dd:ee:ff","ifindex":406880256})"},
    {"l2fwd_del", [](auto a) { return of_build_l2fwd_del(a, 0x105, kMacB); }, 48, 48,
     "0: 04270802 | 8: 00000030 00000030 | 32: 0105 AABBCCDDEEFF", of_req_family::ard,
     {"l2fwd_add"}, R"({"iivid":261,"mac":"aa:bb:cc:dd:ee:ff"})"},
    {"policer_add", [](auto a) { return of_build_policer_add(a, 0x345, 1, 0x123456789, 0x4000); },
     88, 88,
     "0: 09270002 | 8: 00000058 00000058 | 28: 80000000 | "
     "32: 00000000 00004000 00000001 23456789 | 76: 10000000 00000345", of_req_family::ard, {},
     R"({"word28":2147483648,"burst":16384,"rate":4886718345,"instance":1,"policer_id":837})"},
    {"policer_del", [](auto a) { return of_build_policer_del(a, 0x345, 1); }, 36, 36,
     "0: 09270003 | 8: 00000024 00000024 | 28: 00000001 10000345", of_req_family::ard,
     {"policer_add"}, R"({"word28":1,"instance":1,"policer_id":837})"},
    {"flow_stats_read_two",
     [](auto a) {
       const uint32_t h[] = {0x11, 0x22};
       return of_build_flow_stats(a, OF_CMD_STATS_READ, OF_STATS_CLASS_L2FLOW, h, 2, 2, 48);
     },
     64, 68,
     "0: 06270000 | 8: 00000040 00000030 | 28: 0000000C 00 14 0002 0002 | "
     "48: 00000011 0000FFFF 00000022 0000FFFF 00000003", of_req_family::ard, {},
     R"({"class":12,"region":20,"keys":2,"results":2,"ids":[17,34]})"},
    {"flow_stats_clear_one",
     [](auto a) {
       const uint32_t h[] = {0x33};
       return of_build_flow_stats(a, OF_CMD_STATS_CLEAR, OF_STATS_CLASS_L3FLOW, h, 0, 0, 56);
     },
     56, 56, "0: 06270001 | 8: 00000038 00000038 | 28: 00000019 00 14 0001 | 48: 00000033 0000FFFF",
     of_req_family::ard, {}, R"({"class":25,"region":20,"keys":1,"results":0,"ids":[51]})"},
    {"policer_stats_read",
     [](auto a) {
       const of_policer_key k[] = {{5, 0}, {5, 1}};
       return of_build_policer_stats(a, OF_CMD_STATS_READ, k, 2, 1, 0);
     },
     72, 76,
     "0: 06270000 | 8: 00000048 00000000 | 28: 0000002E 00 00 0002 0002 | "
     "48: 00000005 00000000 0000FFFF 00000005 00000001 0000FFFF 00000001", of_req_family::ard, {},
     R"({"class":46,"region":0,"keys":2,"results":2,"ids":[[5,0],[5,1]]})"},
    {"queue_stats", [](auto a) { return of_build_queue_stats(a, 0x18408000); }, 504, 504,
     "0: 06270000 | 8: 000001F8 000001F8 | 28: 00000031 00000001 | 40: 00000002 | 48: 18408000",
     of_req_family::ard, {}, R"({"class":49,"count":1,"word40":2,"ifindex":406880256})"},
  };
  // clang-format on
  return table;
}

const GoldenRequest& golden_request(const std::string& name) {
  for (const auto& g : golden_requests())
    if (g.name == name) return g;
  throw std::out_of_range(name);
}

}  // namespace ofa::test
