#include "debug/sched_show.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int kNameMax = 40;  // longer callback names are cut

std::string micros(uint64_t ns) {
  char b[32];
  std::snprintf(b, sizeof b, "%" PRIu64 ".%03" PRIu64, ns / 1000, ns % 1000);
  return b;
}

void line(std::string* out, int width, const char* name, const char* calls, const char* total,
          const char* longest) {
  char b[160];
  std::snprintf(b, sizeof b, "%-*.*s  %10s  %14s  %14s\n", width, width, name, calls, total,
                longest);
  *out += b;
}

void row(std::string* out, int width, const thread_stat& s) {
  line(out, width, s.name ? s.name : "?", std::to_string(s.calls).c_str(),
       micros(s.total_ns).c_str(), micros(s.longest_ns).c_str());
}

}  // namespace

std::string ofa_show_sched(const thread_stats* stats) {
  std::string out;
  if (!stats) return out;
  std::vector<const thread_stat*> rows;
  int width = static_cast<int>(std::strlen("callback"));
  const char* pass = stats->pass.name ? stats->pass.name : "?";
  width = std::max(width, static_cast<int>(std::strlen(pass)));
  for (uint32_t i = 0; i < stats->used && i < THREAD_STATS_MAX; ++i) {
    rows.push_back(&stats->callback[i]);
    if (stats->callback[i].name) {
      width = std::max(width, static_cast<int>(std::strlen(stats->callback[i].name)));
    }
  }
  width = std::min(width, kNameMax);
  std::stable_sort(rows.begin(), rows.end(), [](const thread_stat* a, const thread_stat* b) {
    return a->total_ns > b->total_ns;
  });
  line(&out, width, "callback", "calls", "total us", "longest us");
  for (const thread_stat* s : rows)
    row(&out, width, *s);
  row(&out, width, stats->pass);
  return out;
}
