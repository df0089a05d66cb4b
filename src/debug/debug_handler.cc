// The show request's keyword table and the debug text's words.
#include "debug/debug_handler.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "agent/trace.h"
#include "debug/cli.h"
#include "debug/shows.h"

namespace {

constexpr const char* kDelimiters = " \t\r\n";

uint32_t number(const char* word) {
  return static_cast<uint32_t>(std::strtol(word, nullptr, 10));
}

bool is_all(const char* word) {
  return std::strcmp(word, "all") == 0;
}

// A keyword's action, given the words after the keyword (count and words); false: no match.
using action_fn = bool (*)(ofa_writer* w, int n, char** t);

bool flow_tree(ofa_writer*, int, char**) {
  ofa_show_openflow_flow_tree();
  return true;
}

bool flow(ofa_writer*, int n, char** t) {
  if (n == 0 || is_all(t[0])) {
    show_openflow_flow_database_detail_callback(1);
  } else {
    show_openflow_single_flow(1);
  }
  return true;
}

bool chip(ofa_writer* w, int n, char** t) {
  if (n == 0) return false;
  if (is_all(t[0])) {
    ofa_show_openflow_chips(w);
  } else if (n == 1) {
    ofa_show_openflow_single_chip(w, number(t[0]));
  } else if (std::strcmp(t[1], "l2flow_tree") == 0) {
    ofa_show_openflow_single_chip_l2flow_tree(w, number(t[0]));
  } else {
    ofa_show_openflow_single_chip_l3flow_tree(w, number(t[0]));
  }
  return true;
}

// The keywords of "all" or a number.
template <void (*all)(ofa_writer*), void (*one)(ofa_writer*, uint32_t)>
bool all_or_one(ofa_writer* w, int n, char** t) {
  if (n == 0) return false;
  if (is_all(t[0])) {
    all(w);
  } else {
    one(w, number(t[0]));
  }
  return true;
}

bool l2fwd(ofa_writer* w, int, char**) {
  ofa_show_openflow_l2fwd_info(w);
  return true;
}

bool evt(ofa_writer* w, int n, char** t) {
  return n >= 2 && all_or_one<ofa_show_openflow_evt_ports, ofa_show_openflow_single_evt_port>(
                       w, n - 1, t + 1);
}

struct Keyword {
  const char* word;
  size_t compared;  // characters compared; the terminator counts for an exact match
  action_fn action;
};

constexpr Keyword kKeywords[] = {
    {"flow_tree", 9, flow_tree},
    {"flow", 4, flow},
    {"chip", 4, chip},
    {"port", 4, all_or_one<ofa_show_openflow_ports, ofa_show_openflow_single_port>},
    {"vlan", 4, all_or_one<ofa_show_openflow_vlans, ofa_show_openflow_single_vlan>},
    {"group", 5, all_or_one<ofa_show_openflow_groups, ofa_show_openflow_single_group>},
    {"l2fwd_info", 10, l2fwd},
    {"meter", 5, all_or_one<ofa_show_openflow_meters, ofa_show_openflow_single_meter>},
    {"evt", 4, evt},
};

}  // namespace

int ofa_extract_argv_tokens(char* text, char* tokens[OFA_MAX_TOKENS]) {
  int n = 0;
  char* save = nullptr;
  for (char* t = strtok_r(text, kDelimiters, &save); t && n < static_cast<int>(OFA_MAX_TOKENS);
       t = strtok_r(nullptr, kDelimiters, &save))
    tokens[n++] = t;
  return n;
}

int ofa_debug_handler(const char* request, std::string* out) {
  out->clear();
  ofa_writer w = writer_confd_init(out);
  cli = &w;
  std::vector<char> text(request, request + std::strlen(request) + 1);
  char* tokens[OFA_MAX_TOKENS] = {};
  int n = ofa_extract_argv_tokens(text.data(), tokens);
  bool matched = false;
  for (const Keyword& k : kKeywords) {
    if (n > 0 && strncasecmp(tokens[0], k.word, k.compared) == 0) {
      matched = k.action(&w, n - 1, tokens + 1);
      break;
    }
  }
  if (!matched) {
    std::puts("OF agent received invalid command.");
    cli_out("\nInvalid command.");
  }
  cli_out("\n");
  cli = nullptr;
  return 0;
}

namespace {

constexpr uint32_t kEventsBit = 17;

struct Word {
  const char* word;
  uint32_t value;
};

constexpr Word kTopics[] = {
    {"all", 1}, {"hardware", 2}, {"generic", 3}, {"config", 6}, {"forwarding", 7},
    {"ipc", 8}, {"meter", 9},    {"group", 10},  {"flow", 11},
};
constexpr Word kModules[] = {{"core", 1}, {"msg", 2}, {"ioctl", 3}, {"pkt", 4}};
constexpr Word kLevels[] = {
    {"emergency", 1}, {"alert", 2}, {"critical", 3}, {"error", 4},   {"warn", 5},
    {"notify", 6},    {"info", 7},  {"debug", 8},    {"verbose", 9},
};
// The bit of each topic number 1 to 9.
constexpr uint32_t kTopicBits[] = {0, 30, 29, 28, 27, 24, 23, 22, 21, 20};

template <size_t N>
const Word* find(const Word (&table)[N], const std::vector<std::string_view>& w, size_t i) {
  if (i >= w.size()) return nullptr;
  for (const Word& x : table) {
    if (w[i] == x.word) return &x;
  }
  return nullptr;
}

// "on" 1, "off" 0, anything else -1.
int on_off(const std::vector<std::string_view>& w, size_t i) {
  if (i >= w.size()) return -1;
  return w[i] == "on" ? 1 : w[i] == "off" ? 0 : -1;
}

void set_bit(uint32_t bit, uint32_t value) {
  if (value) {
    debugOpenflow |= 1u << bit;
  } else {
    debugOpenflow &= ~(1u << bit);
  }
}

}  // namespace

void openflow_ofa_debug_set_module(uint32_t module, uint32_t value) {
  set_bit(module >= 1 && module <= 9 ? kTopicBits[module] : 31, value);
}

void openflow_ofa_debug_trace_cfg(uint32_t first, uint32_t second) {
  set_bit(18, first);
  set_bit(19, second);
}

void openflow_ofa_debug_handler(const char* text) {
  if (!text) return;
  std::string copy(text);
  std::vector<std::string_view> w;
  for (size_t at = copy.find_first_not_of(' '); at != std::string::npos;) {
    size_t end = copy.find(' ', at);
    w.push_back(std::string_view(copy).substr(at, end == std::string::npos ? end : end - at));
    at = end == std::string::npos ? end : copy.find_first_not_of(' ', end);
  }
  size_t i = 0;
  if (!w.empty() && w[0] == "events") {
    if (int v = on_off(w, 1); v >= 0) set_bit(kEventsBit, static_cast<uint32_t>(v));
    return;
  }
  if (!w.empty() && w[0] == "log") {
    if (const Word* topic = find(kTopics, w, 1)) {
      if (int v = on_off(w, 2); v >= 0)
        openflow_ofa_debug_set_module(topic->value, static_cast<uint32_t>(v));
      return;
    }
    i = 1;  // an unknown word after "log" is tested for "trace"
  }
  if (i < w.size() && w[i] == "trace") {
    const Word* module = find(kModules, w, i + 1);
    const Word* level = find(kLevels, w, i + 2);
    if (module && level) ofa_trace_set_level(module->value, level->value);
  }
}
