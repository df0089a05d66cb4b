// One port, VLAN or translation of a chip as named fields, for `show` and for one-item queries.
// Values are single words; a setting the chip was never given is "-".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/model.h"

namespace ofa::chipsim {

using Item = std::vector<std::pair<std::string, std::string>>;

// Runs of consecutive numbers (each one more than the one before), as (first, last).
std::vector<std::pair<uint32_t, uint32_t>> runs(const std::vector<uint32_t>& v);

// "all" for the all-VLANs id, else the number.
std::string vlan_text(uint32_t vlan);

// The front-panel port id of a port's interface index.
uint32_t port_id(uint32_t ifindex);
// The interface index of port `id` of the slot the model serves; an interface index of a port
// given as such stands.
uint32_t port_ifindex_of(const Model& m, uint32_t id);
// The chip the platform says serves the port, else the first chip that is not the multicast
// target.
const ChipState* home_chip(const Model& m, uint32_t port_ifindex);

// Port fields: id, name, ifindex, served (the chip serves the port), lrn, rx_fwd, rx_fwd2, tx_en,
// pvid, iivids, vpn, ppid, typ_cls, mac_cls, qos, lldp_ovrd, l2_ovrd, address, nhop.
Item port_fields(const Model& m, const ChipState& c, uint32_t ifindex, const PortState& p);
// VLAN fields: vlan, rte0, rte1 (the IIVIDs of the partition), mgid (of that IIVID), flood (the
// ports of that group). Nothing when the partition does not name the VLAN.
std::optional<Item> vlan_fields(const ChipState& c, uint32_t vlan);
// Translation fields: port, iivid, vlan, tagged (and vlan2 on zim). Scope 0 is the partition.
std::optional<Item> xlate_fields(const Model& m, const ChipState& c, uint32_t scope,
                                 uint32_t iivid);

// Every translation row of the chip's ports (the partition's left out), by port then IIVID, or
// those of one port's interface index.
std::vector<Item> xlate_rows(const Model& m, const ChipState& c, std::optional<uint32_t> port);
// Exact-match L2 entry fields: iivid, mac, port (the out port's id; 0 for none).
std::optional<Item> l2_fields(const ChipState& c, uint32_t iivid, const Mac& mac);

// Region fields: entries (how many), handles (in the chip's order, "-" for none), size.
// Nothing when the chip has no such region.
std::optional<Item> region_fields(const ChipState& c, uint8_t ldev, uint8_t region);

// Multicast group fields: mgid, members, iivids (one per member), ports (each member's port ids,
// members apart by "/"), updates. Next hop fields: nhop, kind, paths, iivids, macs, ports (one
// per path; a path's interface index that is no port stands in hex). Policer fields: policer,
// instance, rate, burst. Nothing when the chip lacks the object.
std::optional<Item> mgid_fields(const ChipState& c, uint32_t mgid);
std::optional<Item> nhop_fields(const ChipState& c, uint32_t nhop);
std::optional<Item> policer_fields(const ChipState& c, uint32_t id, uint32_t instance);

// The VLANs the chip's partition names, ascending (the all-VLANs id last).
std::vector<uint32_t> chip_vlans(const ChipState& c);

// "name=value name=value".
std::string fields_text(const Item& f);
// Rows of the same names as aligned columns under a header line, each line indented by two.
std::string fields_table(const std::vector<Item>& rows);

}  // namespace ofa::chipsim
