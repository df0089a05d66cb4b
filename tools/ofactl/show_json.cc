#include "show_json.h"

#include <algorithm>
#include <memory>
#include <regex>
#include <string_view>
#include <utility>
#include <vector>

#include "common/json.h"

namespace ofa::ofactl {
namespace {

// What a line does.
enum class Kind {
  skip,     // nothing (a head line)
  section,  // enters the section named by `name` in the current block
  start,    // a new block with the captured fields
  fields,   // the captured fields into the current block (or into its `name` object)
  item,     // an object of the captured fields appended to the block's array `name`
  member,   // the captured fields into the last object of the block's array `name`
  append,   // the line's text appended to the block's array `name`
  flag,     // field `name` true in the current block
  row,      // a block of its own, whole on this line
  error,    // a block {"error": line}
  list,     // field `name`: the words or numbers of the capture, separated by "," or blanks
  pair,     // field named by capture 1 (lower case, '_' for blanks), value capture 2
};

struct Rule {
  const char* section;  // the section the line belongs to; "" any
  const char* prefix;   // literal start of the line
  const char* pattern;  // the whole line
  Kind kind;
  const char* names;        // capture names, comma-separated; or the target of section/fields/...
  const char* enters = "";  // the section the line leads into, if any
};

// Sections: "match", "actions", "hardware", "statistics" inside a flow, "tree" in the flow table,
// "chip_tree" in a chip's flow tree. A line is tried against the rules of every section ("*")
// first, then against those of its section, then against those outside any ("").
constexpr Rule kRules[] = {
    {"", "Invalid command.", "Invalid command\\.", Kind::error, ""},
    {"", "Chip Id: ", "Chip Id: (-?\\d+) doesn't exist", Kind::error, ""},
    {"", "Chip Id: ", "Chip Id: (-?\\d+)", Kind::start, "chip_id"},
    {"", "   is_local: ",
     "   is_local: (\\d+) local chip id: +(-?\\d+) ifindex: (0x *[0-9a-f]+) slot id: +(-?\\d+)",
     Kind::fields, "is_local,local_chip_id,ifindex,slot_id"},
    {"", "       Priority     Flow id", ".*", Kind::section, "tree"},
    {"", "       priority     flow id", ".*", Kind::section, "chip_tree"},
    {"tree", "       ", " +(\\d+) +(-?\\d+)", Kind::row, "priority,flow_id"},
    {"chip_tree", "       ", " +(\\d+) +(-?\\d+)", Kind::item, "flows:priority,flow_id"},
    {"", "Port Id: ", "Port Id: (\\d+)", Kind::start, "port_id"},
    {"", "      OF enabled: ", "      OF enabled: (\\d+) type: (L2|L3)", Kind::fields,
     "of_enabled,type"},
    {"", "      ifIndex: ",
     "      ifIndex: (0x[0-9a-f]+) ifName: (.*) chip_id: (-?\\d+) is_local: (\\d+)", Kind::fields,
     "ifindex,ifname,chip_id,is_local"},
    {"", "      iivid_min: ",
     "      iivid_min: (-?\\d+) iivid_max: (-?\\d+) lrn: (-?\\d+) rx_fwd: (-?\\d+) tx_en: (-?\\d+)",
     Kind::fields, "iivid_min,iivid_max,lrn,rx_fwd,tx_en"},
    {"", "      is_mac_cls: ",
     "      is_mac_cls: (-?\\d+) is_typ_cls: (-?\\d+) pvid: (-?\\d+) ppid: (-?\\d+) vpnid: "
     "(-?\\d+)",
     Kind::fields, "is_mac_cls,is_typ_cls,pvid,ppid,vpnid"},
    {"", "      of_def_nhop_id: ", "      of_def_nhop_id: (-?\\d+)", Kind::fields,
     "of_def_nhop_id"},
    {"", "Vlan Id: ", "Vlan Id: (-?\\d+)", Kind::start, "vlan_id"},
    {"", "   iivid: ", "   iivid: +(-?\\d+) mgid: +(-?\\d+)", Kind::fields, "iivid,mgid"},
    {"", "   member ports: ", "   member ports: ((?: *\\d+, )*)", Kind::list, "member_ports"},
    // groups
    {"", "Total Number of Groups: ", "Total Number of Groups: (\\d+)", Kind::row,
     "total_number_of_groups"},
    {"", "Group Id: ", "Group Id: (-?\\d+)       (ALL|SELECT|INDIRECT|FF|UNKNOWN)", Kind::start,
     "group_id,type"},
    {"", "    Total Buckets:: ", "    Total Buckets:: (\\d+)", Kind::fields, "total_buckets"},
    {"", "    Out port: ", "    Out port: +(\\d+) Out vlan: +(-?\\d+)", Kind::item,
     "buckets:out_port,out_vlan"},
    {"", "    Out port: ", "    Out port: +(\\d+) Out vlan: +(-?\\d+) Out MAC: (0x[0-9a-f]{12})",
     Kind::item, "buckets:out_port,out_vlan,out_mac"},
    {"", "    HW Info:", "    HW Info:", Kind::skip, ""},
    {"", "       mgid: ", "       mgid: (-?\\d+) nhopid: (-?\\d+)", Kind::fields,
     "hw_info:mgid,nhopid"},
    // meters
    {"", "Total Number of Meters: ", "Total Number of Meters: (\\d+)", Kind::row,
     "total_number_of_meters"},
    {"", "Meter id: ", "Meter id: (\\d+)", Kind::start, "meter_id"},
    {"", "  Meter Flags:", "  Meter Flags:\t\t\t((?: (?:KBPS|PKTPS|BURST|STATS))*)", Kind::list,
     "meter_flags"},
    {"", "  Number of  bands:", "  Number of  bands:\t\t(\\d+)", Kind::fields, "number_of_bands"},
    {"", "  RL Class Index:", "  RL Class Index:\t\t(\\d+)\t", Kind::fields, "rl_class_index"},
    {"", "  In packet count:", "  In packet count:\t\t(-NA-) ", Kind::fields, "in_packet_count"},
    {"", "  In byte count:", "  In byte count:\t\t(\\d+)", Kind::fields, "in_byte_count"},
    {"", "  Band Type:    ", "  Band Type:    (DROP|DSCP-REMARK|UNKNOWN)", Kind::item,
     "bands:band_type"},
    {"", "    Rate: ", "    Rate: +(\\d+)\t\t\tAdjusted rate:\t\t\t(\\d+)", Kind::member,
     "bands:rate,adjusted_rate"},
    {"", "    Burst size: ", "    Burst size: +(\\d+)\t\tkb", Kind::member, "bands:burst_size"},
    {"", "    Prec level: ", "    Prec level: +(\\d+)", Kind::member, "bands:prec_level"},
    {"", "    In packet band count: ", "    In packet band count: +(-NA-) ", Kind::member,
     "bands:in_packet_band_count"},
    {"", "    In byte band count: ", "    In byte band count: +(\\d+)", Kind::member,
     "bands:in_byte_band_count"},
    {"", "Total no. of entries printed: ", "Total no\\. of entries printed: (\\d+)", Kind::row,
     "entries_printed"},
    {"", "No entry for ", "No entry for (group|meter) id: (\\d+) found", Kind::error, ""},
    {"", "Error: Openflow is disabled", "Error: Openflow is disabled ", Kind::error, ""},
    {"", "Openflow not enabled!", "Openflow not enabled!", Kind::error, ""},
    {"", "Openflow version must be", ".*", Kind::error, ""},
    {"", "(PORT, IIVID:P/V) -> (isTag, Tag)", ".*", Kind::skip, ""},
    {"", "(", "\\( *(\\d+), +(\\d+):([PV])\\) -> \\((\\d+), +(\\d+)\\)", Kind::row,
     "port,iivid,type,is_tag,tag"},
    {"", "IIVID       MAC                  Port ID", ".*", Kind::skip, ""},
    {"", "", " *(\\d+) +(0x[0-9a-f]{12}) +(\\d+)", Kind::row, "iivid,mac,port_id"},
    // flows
    {"", "Error: Cannot find the flow entry for flow id :", ".*", Kind::error, ""},
    {"", "[Flow not in this LP]", ".*", Kind::flag, "not_on_lp"},
    {"", "Flow Id: ", "Flow Id: (\\d+), Priority: (\\d+), FD Id: (\\d+), PW Id: (\\d+)",
     Kind::start, "flow_id,priority,fd_id,pw_id"},
    {"*", "\tRule:", "\tRule:", Kind::section, "match"},
    {"*", "\tAction: ", "\tAction: (FORWARD|DROP)", Kind::fields, "action", "actions"},
    {"*", "\tHardware Information:", "\tHardware Information:", Kind::section, "hardware"},
    {"*", "\tStatistics:", "\tStatistics:", Kind::section, "statistics"},
    {"match", "\t   Source IP :", "\t   Source IP :\t (\\S+)\tSubnet IP :\t (\\S+) ", Kind::fields,
     "match:source_ip,source_subnet"},
    {"match", "\t   Destination IP:", "\t   Destination IP:\t (\\S+)\tSubnet IP :\t (\\S+) ",
     Kind::fields, "match:destination_ip,destination_subnet"},
    {"match", "\t   ", "\t   ([A-Za-z0-9 ]+?):[\t ]+(\\S+(?: \\S+)*) ?", Kind::pair, "match"},
    {"actions", "\t   FID: ", "\t   FID: (\\S+), MVID: (\\S+)", Kind::fields, "fid,mvid"},
    {"actions", "\tMeter id: ", "\tMeter id: (\\d+)", Kind::fields, "meter_id"},
    {"actions", "\t", "[\t ]+(\\S.*)", Kind::append, "actions"},
    {"actions", ", ", ", (\\S.*)", Kind::append, "actions"},
    {"hardware",
     "\tPort: ", "\tPort: (\\d+)   Chip Id : (-?\\d+), Cam Index: (0x[0-9a-f]+) Packets: (\\d+)",
     Kind::item, "hardware:port,chip_id,cam_index,packets"},
    {"hardware", "\tPort: ",
     "\tPort: (\\d+)   Chip Id : (-?\\d+), TTI Index: (-?\\d+)  Counter Index: (\\S+) Bytes: "
     "(\\d+)",
     Kind::item, "hardware:port,chip_id,tti_index,counter_index,bytes"},
    {"hardware", "\t   No Hardware entry found", ".*", Kind::flag, "no_hardware_entry"},
    {"hardware", "Invalid Port ", ".*", Kind::flag, "invalid_port"},
    {"statistics", "\t   Total Pkts: ", "\t   Total Pkts: (\\d+)", Kind::fields, "total_pkts"},
    {"statistics", "\t   Total Bytes: ", "\t   Total Bytes: (\\d+)", Kind::fields, "total_bytes"},
    {"statistics", "\t   No Hardware entry found", ".*", Kind::flag, "no_statistics"},
    {"*", "Cumulative stats for all flows that trap", ".*", Kind::skip, ""},
    {"*", "Total Number of packets trapped to be sent to controller: ",
     "Total Number of packets trapped to be sent to controller: +(\\d+)", Kind::fields,
     "controller_pkts"},
    {"*", "Total Number of bytes trapped to be sent to controller  : ",
     "Total Number of bytes trapped to be sent to controller  : +(\\d+)", Kind::fields,
     "controller_bytes"},
};

std::vector<std::string> split(std::string_view s, char sep) {
  std::vector<std::string> out;
  while (!s.empty()) {
    size_t at = s.find(sep);
    out.emplace_back(s.substr(0, at));
    s = at == std::string_view::npos ? std::string_view{} : s.substr(at + 1);
  }
  return out;
}

// A value: numbers (with an optional minus) as numbers, anything else as text without blanks
// around it (and none inside a hexadecimal number).
std::string value_json(std::string v) {
  while (!v.empty() && v.back() == ' ')
    v.pop_back();
  if (v.starts_with("0x")) std::erase(v, ' ');
  bool number = !v.empty() && v != "-" && (v.size() == 1 || v[v.front() == '-'] != '0');
  for (size_t i = v.front() == '-' ? 1 : 0; number && i < v.size(); ++i)
    number = v[i] >= '0' && v[i] <= '9';
  return number ? v : tools::json_quote(v);
}

std::string field_name(std::string_view text) {
  std::string n;
  for (char c : text)
    n += c == ' ' ? '_' : static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return n;
}

// A block being read: its members in order, each already JSON except the nested ones.
struct Block {
  std::vector<std::pair<std::string, std::string>> scalars;
  std::vector<std::pair<std::string, std::vector<std::string>>> arrays;
  std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> objects;
  std::string section;

  std::vector<std::string>& array(const std::string& name) {
    for (auto& a : arrays)
      if (a.first == name) return a.second;
    return arrays.emplace_back(name, std::vector<std::string>{}).second;
  }
  std::vector<std::pair<std::string, std::string>>& object(const std::string& name) {
    for (auto& o : objects)
      if (o.first == name) return o.second;
    return objects.emplace_back(name, std::vector<std::pair<std::string, std::string>>{}).second;
  }
  std::string json() const {
    std::string out = "{";
    auto sep = [&] {
      if (out.size() > 1) out += ',';
    };
    for (const auto& [k, v] : scalars) {
      sep();
      out += tools::json_quote(k) + ":" + v;
    }
    for (const auto& [k, members] : objects) {
      sep();
      out += tools::json_quote(k) + ":{";
      for (size_t i = 0; i < members.size(); ++i)
        out += (i ? "," : "") + tools::json_quote(members[i].first) + ":" + members[i].second;
      out += "}";
    }
    for (const auto& [k, items] : arrays) {
      sep();
      out += tools::json_quote(k) + ":[";
      for (size_t i = 0; i < items.size(); ++i)
        out += (i ? "," : "") + items[i];
      out += "]";
    }
    return out + "}";
  }
};

struct Compiled {
  const Rule* rule;
  std::regex re;
};

const std::vector<Compiled>& compiled() {
  static const std::vector<Compiled> all = [] {
    std::vector<Compiled> v;
    for (const Rule& r : kRules)
      v.push_back({&r, std::regex(r.pattern, std::regex::optimize)});
    return v;
  }();
  return all;
}

// Names of the captures and the object or array they go to ("target:a,b").
std::pair<std::string, std::vector<std::string>> target_names(const char* names) {
  std::string_view s = names;
  size_t colon = s.find(':');
  if (colon == std::string_view::npos) return {"", split(s, ',')};
  return {std::string(s.substr(0, colon)), split(s.substr(colon + 1), ',')};
}

}  // namespace

std::variant<std::string, TableError> show_json(const std::string& text) {
  std::string out;
  std::unique_ptr<Block> block;
  std::string section;  // of the text outside a block (the flow table)
  auto close = [&] {
    if (block) out += block->json() + "\n";
    block.reset();
  };
  std::vector<std::string> lines = split(text, '\n');
  for (size_t n = 0; n < lines.size(); ++n) {
    const std::string& line = lines[n];
    if (line.empty()) continue;
    const std::string& in = block ? block->section : section;
    const Compiled* hit = nullptr;
    std::smatch m;
    // Lines that lead anywhere ("*") first, then the rules of the section, then the others.
    for (int pass = 0; pass < 3 && !hit; ++pass) {
      for (const Compiled& c : compiled()) {
        std::string_view s = c.rule->section;
        bool take = pass == 0   ? s == "*"
                    : pass == 1 ? !s.empty() && s != "*" && s == in
                                : s.empty();
        if (take && line.starts_with(c.rule->prefix) && std::regex_match(line, m, c.re)) {
          hit = &c;
          break;
        }
      }
    }
    auto unreadable = [&] {
      return TableError{"line " + std::to_string(n + 1) + " of the answer cannot be read: \"" +
                        line + "\""};
    };
    if (!hit) return unreadable();
    const Rule& r = *hit->rule;
    if (*r.enters && block) block->section = r.enters;
    const auto parts = target_names(r.names);  // not a structured binding: lambdas use them
    const std::string& target = parts.first;
    const std::vector<std::string>& names = parts.second;
    auto captured = [&](auto&& put) {
      for (size_t i = 0; i < names.size() && i + 1 < m.size(); ++i)
        put(names[i], value_json(m[i + 1].str()));
    };
    switch (r.kind) {
      case Kind::skip:
        break;
      case Kind::section:
        (block ? block->section : section) = r.names;
        break;
      case Kind::start:
        if (block && !(block->scalars.size() == 1 && block->scalars[0].first == "not_on_lp")) {
          close();
        }
        if (!block) block = std::make_unique<Block>();
        captured([&](const std::string& k, std::string v) { block->scalars.emplace_back(k, v); });
        break;
      case Kind::fields:
      case Kind::flag:
      case Kind::list:
      case Kind::pair:
      case Kind::item:
      case Kind::member:
      case Kind::append:
        if (!block) block = std::make_unique<Block>();
        if (r.kind == Kind::flag) {
          if (!block->scalars.empty() && r.names == std::string_view("not_on_lp")) close();
          if (!block) block = std::make_unique<Block>();
          block->scalars.emplace_back(r.names, "true");
        } else if (r.kind == Kind::list) {
          std::string items = "[";
          std::string words = m[1].str();
          std::replace(words.begin(), words.end(), ',', ' ');
          for (const std::string& f : split(words, ' '))
            if (!f.empty()) items += (items.size() > 1 ? "," : "") + value_json(f);
          block->scalars.emplace_back(r.names, items + "]");
        } else if (r.kind == Kind::pair) {
          block->object(r.names).emplace_back(field_name(m[1].str()), value_json(m[2].str()));
        } else if (r.kind == Kind::append) {
          std::string t;
          for (char c : m[1].str())
            if (c != '\t' || (!t.empty() && t.back() != ' ')) t += c == '\t' ? ' ' : c;
          block->array(r.names).push_back(tools::json_quote(t));
        } else if (r.kind == Kind::item) {
          std::string item = "{";
          captured([&](const std::string& k, std::string v) {
            item += (item.size() > 1 ? "," : "") + tools::json_quote(k) + ":" + v;
          });
          block->array(target).push_back(item + "}");
        } else if (r.kind == Kind::member) {
          std::vector<std::string>& items = block->array(target);
          if (items.empty()) return unreadable();  // a band line before its band
          std::string& item = items.back();
          item.pop_back();
          captured([&](const std::string& k, std::string v) {
            item += "," + tools::json_quote(k) + ":" + v;
          });
          item += "}";
        } else if (!target.empty()) {
          captured([&](const std::string& k, std::string v) {
            block->object(target).emplace_back(k, v);
          });
        } else {
          captured([&](const std::string& k, std::string v) { block->scalars.emplace_back(k, v); });
        }
        break;
      case Kind::row:
      case Kind::error: {
        close();
        Block b;
        if (r.kind == Kind::error) {
          b.scalars.emplace_back("error", tools::json_quote(line));
        } else {
          captured([&](const std::string& k, std::string v) { b.scalars.emplace_back(k, v); });
        }
        out += b.json() + "\n";
        break;
      }
    }
  }
  close();
  return out;
}

}  // namespace ofa::ofactl
