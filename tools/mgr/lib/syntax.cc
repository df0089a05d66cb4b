#include "syntax.h"

#include <cctype>
#include <charconv>

#include "common/text.h"

namespace ofa::mgr::syntax {
namespace {

std::string quoted(std::string_view s) {
  return "'" + std::string(s) + "'";
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

Result<std::vector<std::string>> tokenize(std::string_view line) {
  std::vector<std::string> out;
  std::string cur;
  bool in_token = false, in_quote = false;
  for (size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    if (in_quote) {
      if (c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\')) {
        cur += line[++i];
      } else if (c == '"') {
        in_quote = false;
      } else {
        cur += c;
      }
      continue;
    }
    if (c == '#') break;
    if (c == '"') {
      in_quote = in_token = true;
    } else if (std::isspace(static_cast<unsigned char>(c))) {
      if (in_token) out.push_back(std::move(cur));
      cur.clear();
      in_token = false;
    } else {
      cur += c;
      in_token = true;
    }
  }
  if (in_quote) return Result<std::vector<std::string>>::fail("unterminated quote");
  if (in_token) out.push_back(std::move(cur));
  return out;
}

KeyValue split_key(std::string_view word) {
  auto eq = word.find('=');
  if (eq == std::string_view::npos) return {std::string(word), "", false};
  return {std::string(word.substr(0, eq)), std::string(word.substr(eq + 1)), true};
}

std::vector<std::string> split(std::string_view s, char sep) {
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= s.size()) {
    size_t end = s.find(sep, start);
    if (end == std::string_view::npos) end = s.size();
    if (end > start) out.emplace_back(s.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

bool same_word(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

Result<Mac> mac(std::string_view s, std::string_view what) {
  if (auto m = tools::mac_parse(s)) return *m;
  return Result<Mac>::fail(std::string(what) + ": " + quoted(s) +
                           " is not a MAC address (like 00:11:22:33:44:55)");
}

namespace {
std::optional<uint32_t> dotted(std::string_view s) {
  auto parts = split(s, '.');
  if (parts.size() != 4 || s.back() == '.' || s.front() == '.' || s.find("..") != s.npos) {
    return std::nullopt;
  }
  uint32_t a = 0;
  for (const auto& p : parts) {
    unsigned v = 0;
    auto [end, ec] = std::from_chars(p.data(), p.data() + p.size(), v);
    if (ec != std::errc() || end != p.data() + p.size() || v > 255) return std::nullopt;
    a = (a << 8) | v;
  }
  return a;
}
}  // namespace

Result<Ipv4> ipv4(std::string_view s, std::string_view what) {
  Ipv4 ip;
  auto slash = s.find('/');
  auto addr = dotted(s.substr(0, slash));
  if (!addr) {
    return Result<Ipv4>::fail(std::string(what) + ": " + quoted(s) +
                              " is not an IPv4 address (like 10.0.0.0/8)");
  }
  ip.address = *addr;
  if (slash != std::string_view::npos) {
    auto m = s.substr(slash + 1);
    if (auto mask = dotted(m)) {
      ip.mask = *mask;
    } else {
      auto len = number(m, 32, what);
      if (!len.ok()) return Result<Ipv4>::fail(len.error());
      ip.mask = len.value() == 0 ? 0 : 0xffffffffu << (32 - len.value());
    }
  }
  return ip;
}

Result<std::vector<uint32_t>> id_list(std::string_view s, uint64_t max, std::string_view what) {
  using R = Result<std::vector<uint32_t>>;
  constexpr uint64_t kMaxIds = 65536;
  std::vector<uint32_t> out;
  for (const auto& item : split(s, ',')) {
    auto dash = item.find('-');
    auto first = number(item.substr(0, dash), max, what);
    if (!first.ok()) return R::fail(first.error());
    uint64_t last = first.value();
    if (dash != std::string::npos) {
      auto l = number(item.substr(dash + 1), max, what);
      if (!l.ok()) return R::fail(l.error());
      last = l.value();
      if (last < first.value())
        return R::fail(std::string(what) + ": range " + item + " runs backwards");
    }
    if (last - first.value() >= kMaxIds - out.size())
      return R::fail(std::string(what) + ": more than 65536 ids");
    for (uint64_t p = first.value(); p <= last; ++p)
      out.push_back(static_cast<uint32_t>(p));
  }
  if (out.empty()) return R::fail(std::string(what) + ": no id given");
  return out;
}

Result<std::vector<uint32_t>> port_list(std::string_view s, std::string_view what) {
  return id_list(s, kMaxPort, what);
}

Result<Bytes> hex_bytes(std::string_view s) {
  Bytes out;
  int hi = -1;
  for (char c : s) {
    if (std::isspace(static_cast<unsigned char>(c)) || c == ':') {
      if (hi >= 0) return Result<Bytes>::fail("raw: odd number of hex digits in a group");
      continue;
    }
    int d = hex_digit(c);
    if (d < 0) return Result<Bytes>::fail(std::string("raw: '") + c + "' is not a hex digit");
    if (hi < 0) {
      hi = d;
    } else {
      out.push_back(static_cast<uint8_t>(hi * 16 + d));
      hi = -1;
    }
  }
  if (hi >= 0) return Result<Bytes>::fail("raw: odd number of hex digits");
  if (out.empty()) return Result<Bytes>::fail("raw: no bytes given");
  return out;
}

}  // namespace ofa::mgr::syntax
