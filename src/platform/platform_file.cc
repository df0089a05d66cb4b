#include "platform/platform_file.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "platform/wire.h"

namespace ofa::platform {
namespace {

constexpr std::string_view kDefaultText =
    R"(# The embedded default switch: one `ard` switch (model 131) with one line processor in
# slot 1 and one chip serving its 48 front-panel ports.
[switch]
model = 131
hw_profile = 7
route_profile = 0
l2_tcam_size = 4096
l3_tcam_size = 4096
my_slot = 1
boot = cold

[resources]
limit_52 = 4096
limit_56 = 4096
mgid_start = 8000
mgid_end = 9018
iivid_min = 7168
iivid_max = 8186
policer_start = 1
policer_end = 3960

[ports]
count = 48
name_format = ethernet{slot}/{port}

[slot 1]
chip.0.type = 1
chip.0.ports = 1-48
)";

std::string_view trim(std::string_view s) {
  const char* ws = " \t\r";
  size_t b = s.find_first_not_of(ws);
  if (b == std::string_view::npos) return {};
  size_t e = s.find_last_not_of(ws);
  return s.substr(b, e - b + 1);
}

std::optional<uint32_t> parse_u32(std::string_view s) {
  s = trim(s);
  int base = 10;
  if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
    s.remove_prefix(2);
    base = 16;
  }
  if (s.empty()) return std::nullopt;
  uint32_t v = 0;
  auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v, base);
  if (ec != std::errc() || p != s.data() + s.size()) return std::nullopt;
  return v;
}

// "1-24,30" -> {1..24, 30}; false on a malformed list.
bool parse_port_list(std::string_view s, std::vector<uint32_t>& out, std::string& why) {
  std::set<uint32_t> ports;
  while (!s.empty()) {
    size_t comma = s.find(',');
    std::string_view item = trim(s.substr(0, comma));
    s = comma == std::string_view::npos ? std::string_view{} : s.substr(comma + 1);
    size_t dash = item.find('-');
    auto lo = parse_u32(item.substr(0, dash));
    auto hi = dash == std::string_view::npos ? lo : parse_u32(item.substr(dash + 1));
    if (!lo || !hi || *lo > *hi) {
      why = "bad port list item '" + std::string(item) + "'";
      return false;
    }
    if (*lo == 0 || *hi > 127) {
      why = "port numbers run from 1 to 127";
      return false;
    }
    for (uint32_t p = *lo; p <= *hi; ++p)
      ports.insert(p);
  }
  if (ports.empty()) {
    why = "empty port list";
    return false;
  }
  out.assign(ports.begin(), ports.end());
  return true;
}

class Parser {
 public:
  Parser(std::string_view text, std::string_view file) : text_(text), file_(file) {}

  ParseResult run() {
    p_.source = std::string(file_);
    size_t pos = 0;
    while (pos < text_.size() && !failed_) {
      size_t nl = text_.find('\n', pos);
      std::string_view raw =
          text_.substr(pos, nl == std::string_view::npos ? text_.npos : nl - pos);
      ++line_;
      line(raw);
      if (nl == std::string_view::npos) break;
      pos = nl + 1;
    }
    if (!failed_) finish();
    if (failed_) return ParseError{error_};
    return std::move(p_);
  }

 private:
  bool fail(const std::string& why, size_t at = 0) {
    if (!failed_) {
      failed_ = true;
      error_ = file_ + ":" + std::to_string(at ? at : line_) + ": " + why;
    }
    return false;
  }

  void line(std::string_view raw) {
    size_t hash = raw.find('#');
    std::string_view s = trim(raw.substr(0, hash));
    if (s.empty()) return;
    if (s.front() == '[') {
      section(s);
      return;
    }
    size_t eq = s.find('=');
    if (eq == std::string_view::npos) {
      fail("expected 'key = value' or '[section]'");
      return;
    }
    std::string_view key = trim(s.substr(0, eq));
    std::string_view value = trim(s.substr(eq + 1));
    if (key.empty()) {
      fail("missing key before '='");
      return;
    }
    if (value.empty()) {
      fail("missing value for '" + std::string(key) + "'");
      return;
    }
    std::string full = section_ + "." + canonical_key(key);
    if (!seen_.insert(full).second) {
      fail("duplicate key '" + std::string(key) + "'");
      return;
    }
    if (section_.empty()) {
      fail("'" + std::string(key) + "' outside any section");
    } else if (section_ == "switch") {
      switch_key(key, value);
    } else if (section_ == "resources") {
      resource_key(key, value);
    } else if (section_ == "ports") {
      ports_key(key, value);
    } else {
      slot_key(key, value);
    }
  }

  void section(std::string_view s) {
    if (s.back() != ']') {
      fail("unterminated section header");
      return;
    }
    std::string_view name = trim(s.substr(1, s.size() - 2));
    if (name == "switch" || name == "resources" || name == "ports") {
      section_ = std::string(name);
    } else if (name.substr(0, 5) == "slot ") {
      auto n = parse_u32(name.substr(5));
      if (!n || *n > kMaxSlot) {
        fail("slot number must be 0 to " + std::to_string(kMaxSlot));
        return;
      }
      if (std::any_of(p_.slots.begin(), p_.slots.end(),
                      [&](const SlotDesc& d) { return d.slot == *n; })) {
        fail("slot " + std::to_string(*n) + " described twice");
        return;
      }
      p_.slots.push_back(SlotDesc{*n, {}});
      section_ = "slot " + std::to_string(*n);
    } else {
      fail("unknown section '" + std::string(name) + "'");
      return;
    }
    if (!sections_.insert(section_).second) fail("section '" + section_ + "' appears twice");
  }

  bool number(std::string_view key, std::string_view value, uint32_t& out) {
    auto v = parse_u32(value);
    if (!v)
      return fail("'" + std::string(key) + "' needs a number, not '" + std::string(value) + "'");
    out = *v;
    return true;
  }

  void switch_key(std::string_view key, std::string_view value) {
    if (key == "boot") {
      if (value == "cold") {
        p_.boot = BootMode::cold;
      } else if (value == "warm") {
        p_.boot = BootMode::warm;
      } else {
        fail("boot must be 'cold' or 'warm'");
      }
      return;
    }
    struct Field {
      std::string_view name;
      uint32_t Platform::*field;
    };
    static constexpr Field fields[] = {
        {"model", &Platform::model},
        {"hw_profile", &Platform::hw_profile},
        {"route_profile", &Platform::route_profile},
        {"l2_tcam_size", &Platform::l2_tcam_size},
        {"l3_tcam_size", &Platform::l3_tcam_size},
        {"my_slot", &Platform::my_slot},
    };
    for (const auto& f : fields) {
      if (key == f.name) {
        if (number(key, value, p_.*f.field) && key == "model") have_model_ = true;
        if (key == "my_slot") my_slot_line_ = line_;
        return;
      }
    }
    fail("unknown key '" + std::string(key) + "' in [switch]");
  }

  void resource_key(std::string_view key, std::string_view value) {
    struct Field {
      std::string_view name;
      uint32_t ResourceWords::*field;
    };
    static constexpr Field fields[] = {
        {"limit_52", &ResourceWords::limit_52},
        {"limit_56", &ResourceWords::limit_56},
        {"mgid_start", &ResourceWords::mgid_start},
        {"mgid_end", &ResourceWords::mgid_end},
        {"iivid_min", &ResourceWords::iivid_min},
        {"iivid_max", &ResourceWords::iivid_max},
        {"policer_start", &ResourceWords::policer_start},
        {"policer_end", &ResourceWords::policer_end},
    };
    for (const auto& f : fields) {
      if (key == f.name) {
        number(key, value, p_.resources.*f.field);
        return;
      }
    }
    fail("unknown key '" + std::string(key) + "' in [resources]");
  }

  void ports_key(std::string_view key, std::string_view value) {
    if (key == "count") {
      if (number(key, value, p_.phy_ports) && p_.phy_ports > 289)
        fail("port count must be at most 289");
    } else if (key == "name_format") {
      p_.name_format = std::string(value);
    } else if (key.substr(0, 5) == "name.") {
      auto n = parse_u32(key.substr(5));
      if (!n) {
        fail("bad port number in '" + std::string(key) + "'");
        return;
      }
      if (value.size() > 32) {
        fail("port name longer than 32 characters");
        return;
      }
      p_.port_names[*n] = std::string(value);
    } else {
      fail("unknown key '" + std::string(key) + "' in [ports]");
    }
  }

  // "chip.<id>.<attribute>" split into its id text and attribute; nullopt for any other key.
  struct ChipKey {
    std::string_view id;
    std::string_view attr;
  };
  static std::optional<ChipKey> split_chip_key(std::string_view key) {
    size_t dot = key.find('.', 5);
    if (key.substr(0, 5) != "chip." || dot == std::string_view::npos) return std::nullopt;
    return ChipKey{key.substr(5, dot - 5), key.substr(dot + 1)};
  }

  // The key as the duplicate check sees it: "chip.01.type" is "chip.1.type".
  static std::string canonical_key(std::string_view key) {
    auto chip = split_chip_key(key);
    auto id = chip ? parse_u32(chip->id) : std::nullopt;
    if (!id) return std::string(key);
    return "chip." + std::to_string(*id) + "." + std::string(chip->attr);
  }

  // chip.<local id>.type / chip.<local id>.ports
  void slot_key(std::string_view key, std::string_view value) {
    SlotDesc& slot = p_.slots.back();
    auto chip = split_chip_key(key);
    if (!chip) {
      fail("unknown key '" + std::string(key) + "' in [" + section_ + "]");
      return;
    }
    auto id = parse_u32(chip->id);
    if (!id || *id > kMaxLocalChip) {
      fail("chip id must be 0 to " + std::to_string(kMaxLocalChip));
      return;
    }
    auto it = std::find_if(slot.chips.begin(), slot.chips.end(),
                           [&](const ChipDesc& c) { return c.local_id == *id; });
    if (it == slot.chips.end()) {
      if (++chips_ > kMaxChips) {
        fail("more than " + std::to_string(kMaxChips) + " chips in the switch");
        return;
      }
      slot.chips.push_back(ChipDesc{*id, 0, {}});
      it = slot.chips.end() - 1;
    }
    std::string_view attr = chip->attr;
    if (attr == "type") {
      number(key, value, it->type);
    } else if (attr == "ports") {
      std::string why;
      if (!parse_port_list(value, it->ports, why)) {
        fail(why);
        return;
      }
      for (const ChipDesc& other : slot.chips) {
        if (other.local_id == it->local_id) continue;
        for (uint32_t port : it->ports) {
          if (std::binary_search(other.ports.begin(), other.ports.end(), port)) {
            fail("port " + std::to_string(port) + " already served by chip " +
                 std::to_string(other.local_id));
            return;
          }
        }
      }
    } else {
      fail("unknown chip attribute '" + std::string(attr) + "'");
    }
  }

  void finish() {
    if (!have_model_) {
      fail("no 'model' in [switch]", line_);
      return;
    }
    std::sort(p_.slots.begin(), p_.slots.end(),
              [](const SlotDesc& a, const SlotDesc& b) { return a.slot < b.slot; });
    for (auto& s : p_.slots) {
      std::sort(s.chips.begin(), s.chips.end(),
                [](const ChipDesc& a, const ChipDesc& b) { return a.local_id < b.local_id; });
    }
    if (!p_.find_slot(p_.my_slot)) {
      fail("my_slot " + std::to_string(p_.my_slot) + " has no [slot " + std::to_string(p_.my_slot) +
               "] section",
           my_slot_line_ ? my_slot_line_ : line_);
    }
  }

  std::string_view text_;
  std::string file_;
  Platform p_;
  std::string section_;
  std::set<std::string> seen_;
  std::set<std::string> sections_;
  size_t line_ = 0;
  size_t my_slot_line_ = 0;
  uint32_t chips_ = 0;
  bool have_model_ = false;
  bool failed_ = false;
  std::string error_;
};

}  // namespace

const SlotDesc* Platform::find_slot(uint32_t slot) const {
  for (const auto& s : slots)
    if (s.slot == slot) return &s;
  return nullptr;
}

const ChipDesc* Platform::find_chip(uint32_t slot, uint32_t local_id) const {
  const SlotDesc* s = find_slot(slot);
  if (!s) return nullptr;
  for (const auto& c : s->chips)
    if (c.local_id == local_id) return &c;
  return nullptr;
}

const ChipDesc* Platform::chip_for_port(uint32_t slot, uint32_t port) const {
  const SlotDesc* s = find_slot(slot);
  if (!s) return nullptr;
  for (const auto& c : s->chips)
    if (std::binary_search(c.ports.begin(), c.ports.end(), port)) return &c;
  return nullptr;
}

int32_t Platform::flat_chip_id(uint32_t slot, uint32_t local_id) const {
  int32_t flat = 0;
  for (const auto& s : slots) {
    for (const auto& c : s.chips) {
      if (s.slot == slot && c.local_id == local_id) return flat;
      ++flat;
    }
  }
  return -1;
}

std::optional<Platform::ChipPlace> Platform::chip_by_flat_id(uint32_t flat) const {
  for (const auto& s : slots) {
    if (flat < s.chips.size()) return ChipPlace{s.slot, s.chips[flat].local_id};
    flat -= static_cast<uint32_t>(s.chips.size());
  }
  return std::nullopt;
}

std::string Platform::port_name(uint32_t port) const {
  if (auto it = port_names.find(port); it != port_names.end()) return it->second;
  std::string out;
  std::string_view f = name_format;
  while (!f.empty()) {
    if (f.substr(0, 6) == "{slot}") {
      out += std::to_string(my_slot);
      f.remove_prefix(6);
    } else if (f.substr(0, 6) == "{port}") {
      out += std::to_string(port);
      f.remove_prefix(6);
    } else {
      out += f.front();
      f.remove_prefix(1);
    }
  }
  return out;
}

ParseResult parse_platform(std::string_view text, std::string_view file) {
  return Parser(text, file).run();
}

ParseResult load_platform(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return ParseError{path + ":0: cannot open the file"};
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return ParseError{path + ":0: cannot read the file"};
  return parse_platform(text.str(), path);
}

std::string_view default_platform_text() {
  return kDefaultText;
}

ParseResult platform_from_env() {
  const char* file = std::getenv("OFA_PLATFORM");
  ParseResult r = (file && *file) ? load_platform(file) : parse_platform(kDefaultText, "<default>");
  auto* p = std::get_if<Platform>(&r);
  if (!p) return r;
  if (const char* slot = std::getenv("OFA_SLOT"); slot && *slot) {
    auto n = parse_u32(slot);
    if (!n || !p->find_slot(*n))
      return ParseError{"OFA_SLOT:0: slot '" + std::string(slot) + "' is not described by " +
                        p->source};
    p->my_slot = *n;
  }
  if (const char* boot = std::getenv("OFA_BOOT"); boot && *boot) {
    std::string_view b = boot;
    if (b == "cold") {
      p->boot = BootMode::cold;
    } else if (b == "warm") {
      p->boot = BootMode::warm;
    } else {
      return ParseError{"OFA_BOOT:0: boot must be 'cold' or 'warm'"};
    }
  }
  return r;
}

std::vector<uint8_t> resource_record(const Platform& p) {
  std::vector<uint8_t> rec(128, 0);
  wire::Writer w(rec);
  const ResourceWords& r = p.resources;
  w.u32_at(52, r.limit_52);
  w.u32_at(56, r.limit_56);
  w.u32_at(96, r.mgid_start);
  w.u32_at(100, r.mgid_end);
  w.u32_at(104, r.iivid_min);
  w.u32_at(108, r.iivid_max);
  w.u32_at(112, r.policer_start);
  w.u32_at(116, r.policer_end);
  return rec;
}

std::optional<std::vector<uint32_t>> slot_parameters(const Platform& p, uint32_t slot) {
  const SlotDesc* s = p.find_slot(slot);
  if (!s) return std::nullopt;
  std::vector<uint32_t> words{slot, static_cast<uint32_t>(s->chips.size())};
  for (const auto& c : s->chips) {
    words.push_back(c.type);
    words.push_back(c.local_id);
  }
  return words;
}

}  // namespace ofa::platform
