// What a simulated chip holds: one table per kind of object, as the requests set them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "model/tcam_entries.h"

namespace ofa::chipsim {

// (IIVID, MAC) in the order of the IIVID, then of the MAC's bytes, without a byte-wise compare.
struct IividMacLess {
  static uint64_t value(const Mac& m) {
    uint64_t v = 0;
    for (uint8_t b : m)
      v = v << 8 | b;
    return v;
  }
  bool operator()(const std::pair<uint32_t, Mac>& a, const std::pair<uint32_t, Mac>& b) const {
    return a.first != b.first ? a.first < b.first : value(a.second) < value(b.second);
  }
};

struct IividMacHash {
  size_t operator()(const std::pair<uint32_t, Mac>& k) const {
    uint64_t h = (IividMacLess::value(k.second) ^ uint64_t{k.first} << 48) * 0x9e3779b97f4a7c15u;
    return static_cast<size_t>(h ^ h >> 29);
  }
};

inline constexpr uint8_t kLdevL2 = 10;
inline constexpr uint8_t kLdevL3 = 23;

// A TCAM region: its parameters and its entries in chip order (first is looked up first).
struct Region {
  uint8_t ldev = 0;
  uint8_t region = 0;
  uint32_t size = 0;
  uint32_t initial = 0;
  uint32_t increment = 0;
  TcamEntries entries;

  // Entries the chip has room for now: the initial size grown by the increment, up to the size.
  uint32_t capacity() const;
};

struct NhopPath {
  uint32_t ifindex = 0;  // the mgid in an mgid next hop
  uint32_t iivid = 0;
  Mac mac{};
  uint8_t b12 = 0, b13 = 0;
};

struct NextHop {
  uint32_t kind = 0;
  uint32_t marker = 0;  // byte 35
  std::vector<NhopPath> paths;
};

struct MgidMember {
  uint32_t word0 = 0;
  uint32_t iivid = 0;
  std::vector<uint32_t> ports;
};

struct Mgid {
  std::vector<MgidMember> members;
  uint32_t updates = 0;
};

struct Policer {
  uint64_t burst = 0;
  uint64_t rate = 0;
  uint64_t first = 0;   // counter words 2 and 3 of a statistics result
  uint64_t second = 0;  // counter words 6 and 7
};

struct QueueCounters {
  uint64_t packets = 0;
  uint64_t bytes = 0;
};

// Everything set per port (interface index).
struct PortState {
  bool has_qos = false;
  std::array<uint8_t, 32> cos_class{}, cos_enabled{};
  bool has_cfg = false;
  uint32_t cfg_word = 0;
  Mac port_address{};
  bool has_ctl = false;
  uint32_t ctl_change = 0, ctl_w40 = 0, ctl_w48 = 0, ctl_w52 = 0, ppid = 0;
  bool has_vlan = false;
  uint32_t vlan_change = 0, vlan_values = 0;  // of the last port-wide request
  // The port-wide settings, each as the last request whose change mask names it set it.
  std::optional<bool> lrn, rx_fwd, rx_fwd2, tx_en;
  std::optional<uint32_t> pvid;
  std::vector<uint32_t> iivid_members;  // ascending
  // Classification as the last port control that names it set it.
  std::optional<bool> typ_cls, mac_cls;
  bool has_l2ctl = false;
  uint32_t lldp_vlan_ovrd = 0, l2_ctrl_ovrd = 0;
  bool has_vpn = false;
  uint32_t vpnid = 0;
  std::array<QueueCounters, 8> queues{};
};

// Scope of a VLAN translation: a port's interface index, or partition 7 (ifIndex 0).
struct Translation {
  uint32_t vlan = 0;   // kAllVlans for the all-VLANs entry
  uint32_t vlan2 = 0;  // the second VLAN array of zim
  uint32_t change = 0;
  uint32_t values = 0;
  bool tagged() const { return (values & (1u << 21)) != 0; }
};

// The VLAN id that stands for every VLAN in translation and partition requests.
inline constexpr uint32_t kAllVlans = 0xFFFFFFFF;

struct ChipState {
  uint32_t ifindex = 0;
  uint32_t slot = 0;
  uint32_t local_id = 0;
  uint32_t type = 0;
  bool mcast_only = false;  // the fixed multicast target of zim

  std::map<std::pair<uint8_t, uint8_t>, Region> regions;  // (ldev, region)
  std::map<uint32_t, NextHop> nhops;
  std::map<uint32_t, Mgid> mgids;
  std::map<std::pair<uint32_t, uint32_t>, Policer> policers;  // (id, instance)
  std::map<uint32_t, PortState> ports;
  std::map<std::pair<uint32_t, uint32_t>, Translation> translations;  // (scope, iivid)
  std::map<std::tuple<uint32_t, uint32_t, uint32_t>, uint32_t> evt;   // (port, iivid, vlan): values
  std::map<std::pair<uint32_t, uint32_t>, Translation> eft;           // (port, iivid)
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> partition;        // (rte, vlan): iivid
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> ivt;  // (key type, vlan or port): iivid
  std::map<uint32_t, uint32_t> vid_to_mgid;               // iivid: mgid
  // (iivid, mac): port, kept unordered; l2_sorted() gives the order of shows and dumps.
  std::unordered_map<std::pair<uint32_t, Mac>, uint32_t, IividMacHash> l2_entries;

  using L2Entry = std::pair<const std::pair<uint32_t, Mac>, uint32_t>;
  std::vector<const L2Entry*> l2_sorted() const;

  void clear();
};

}  // namespace ofa::chipsim
