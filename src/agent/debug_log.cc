// The debug-log file with its five-line head. Writes are serialised by one mutex, since the worker
// thread's IPC handler logs too.
#include "agent/debug_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "agent/status.h"

namespace {

std::mutex g_mu;
FILE* g_log = nullptr;
std::atomic<bool> g_open{false};  // g_log is set; read without the lock

constexpr size_t kLineMax = 256;

// asctime form of now, without its newline (24 characters).
void now_text(char (&out)[32]) {
  time_t t = time(nullptr);
  tm local{};
  localtime_r(&t, &local);
  char buf[32] = {};
  if (!asctime_r(&local, buf)) buf[0] = '\0';
  buf[strcspn(buf, "\n")] = '\0';
  std::memcpy(out, buf, sizeof out);
}

void write_fresh_head(FILE* f) {
  char when[32];
  now_text(when);
  std::rewind(f);
  std::fprintf(f, "Openflow Agent Log\n");
  std::fprintf(f, "Last Execution time:  %s\n", when);
  std::fprintf(f, "Wrap Count: %08d\n", 0);
  std::fprintf(f, "Cur line: %08d\n", static_cast<int>(OFA_DEBUG_LOG_FIRST_LINE));
  std::fprintf(f, "Curr Offset: %08d\n", static_cast<int>(OFA_DEBUG_LOG_RESTART_OFFSET));
  std::fflush(f);
}

FILE* create_and_open(const std::string& path) {
  int fd = ::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0700);
  if (fd < 0) return nullptr;
  ::close(fd);
  return std::fopen(path.c_str(), "r+");
}

bool read_line(FILE* f, char (&line)[kLineMax]) {
  if (!std::fgets(line, sizeof line, f)) {
    line[0] = '\0';
    return false;
  }
  return true;
}

// A log of an earlier run: rewrite line 2 and continue at the stored offset. False when the head
// is not ours after all.
bool resume(FILE* f, const char* first_line) {
  char when[32];
  now_text(when);
  if (std::fseek(f, static_cast<long>(std::strlen(first_line)), SEEK_SET) != 0) return false;
  std::fprintf(f, "Last Execution time:  %s\n", when);
  std::fseek(f, 0, SEEK_CUR);
  char line[kLineMax];
  read_line(f, line);
  read_line(f, line);
  read_line(f, line);
  int offset = 0;
  if (std::sscanf(line, "Curr Offset: %08d\n", &offset) != 1 || offset < 0) return false;
  std::fflush(f);
  return std::fseek(f, offset, SEEK_SET) == 0;
}

void update_locked() {
  FILE* f = g_log;
  long off = std::ftell(f);
  std::rewind(f);
  char line[kLineMax];
  read_line(f, line);
  read_line(f, line);
  long wrap_at = std::ftell(f);
  read_line(f, line);
  int wrap = 0;
  int cur = 0;
  bool ok = std::sscanf(line, "Wrap Count: %08d\n", &wrap) == 1;
  long cur_at = std::ftell(f);
  read_line(f, line);
  ok = ok && std::sscanf(line, "Cur line: %08d\n", &cur) == 1;
  if (!ok) {
    std::fseek(f, off, SEEK_SET);
    return;
  }
  cur++;
  if (cur > static_cast<int>(OFA_DEBUG_LOG_WRAP_LINE)) {
    wrap++;
    cur = static_cast<int>(OFA_DEBUG_LOG_FIRST_LINE);
    std::fseek(f, wrap_at, SEEK_SET);
    std::fprintf(f, "Wrap Count: %08d\n", wrap);
    off = OFA_DEBUG_LOG_RESTART_OFFSET;
  }
  std::fseek(f, cur_at, SEEK_SET);
  std::fprintf(f, "Cur line: %08d\n", cur);
  std::fprintf(f, "Curr Offset: %08d\n", static_cast<int>(off));
  std::fflush(f);
  std::fseek(f, off, SEEK_SET);
}

}  // namespace

std::string ofa_debug_log_path() {
  const char* p = std::getenv("OFA_DEBUG_LOG");
  return (p && *p) ? std::string(p) : std::string(OFA_DEBUG_LOG_DEFAULT);
}

int ofa_debug_log_open(const std::string& path) {
  std::lock_guard<std::mutex> lock(g_mu);
  if (g_log) {
    std::fclose(g_log);
    g_log = nullptr;
    g_open = false;
  }
  if (path == OFA_DEBUG_LOG_OFF) return 0;
  FILE* f = create_and_open(path);
  if (!f) return OFA_E_GENERIC;
  std::fseek(f, 0, SEEK_END);
  long size = std::ftell(f);
  std::rewind(f);
  if (size > 9) {
    char first[kLineMax];
    read_line(f, first);
    if (!(std::strstr(first, "Openflow Agent") && resume(f, first))) {
      // A foreign file (or a head we cannot read back) is replaced by a fresh log.
      std::fclose(f);
      std::remove(path.c_str());
      f = create_and_open(path);
      if (!f) return OFA_E_GENERIC;
      write_fresh_head(f);
    }
  } else {
    write_fresh_head(f);
  }
  g_log = f;
  g_open = true;
  return 0;
}

void ofa_debug_log_close() {
  std::lock_guard<std::mutex> lock(g_mu);
  if (g_log) std::fclose(g_log);
  g_log = nullptr;
  g_open = false;
}

bool ofa_debug_log_is_open() {
  return g_open;
}

void ofa_debug_log_write(const char* text) {
  std::lock_guard<std::mutex> lock(g_mu);
  if (!g_log || !text) return;
  char when[32];
  now_text(when);
  size_t n = std::strlen(text);
  if (n > 0 && text[n - 1] == '\n') n--;
  std::fprintf(g_log, "%s: %.*s\n", when, static_cast<int>(n), text);
  update_locked();
}

void openflowAgt_debug_log_update() {
  std::lock_guard<std::mutex> lock(g_mu);
  if (g_log) update_locked();
}
