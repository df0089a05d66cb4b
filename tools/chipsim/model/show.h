// The model as aligned text for people: per chip its regions, its TCAM entries in chip order and
// how many objects of each other kind it holds; or its ports, or its VLANs, one line each.
#pragma once

#include <optional>
#include <string>

#include "model/model.h"

namespace ofa::chipsim {

std::string show_text(const Model& m);

// Per chip the ports it holds settings of (the fields of views.h), or only port `id`.
std::string show_ports(const Model& m, std::optional<uint32_t> id);
// Per chip the VLANs of its partition with their group, or only VLAN `vlan`.
std::string show_vlans(const Model& m, std::optional<uint32_t> vlan);
// Per chip the translation rows of its ports, or of port `id` only.
std::string show_xlate(const Model& m, std::optional<uint32_t> id);
// Per chip its exact-match L2 entries by IIVID, then MAC.
std::string show_l2(const Model& m);

}  // namespace ofa::chipsim
