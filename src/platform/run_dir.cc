#include "platform/run_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ofa::platform {
namespace {

std::string under(std::string_view folder, std::string_view leaf) {
  std::string p = run_dir();
  p += '/';
  p += folder;
  p += '/';
  p += leaf;
  return p;
}

std::optional<std::string> make_dir(const std::string& dir) {
  if (::mkdir(dir.c_str(), 0700) == 0 || errno == EEXIST) {
    struct stat st {};
    if (::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return std::nullopt;
    return dir + ": exists and is not a directory";
  }
  return dir + ": " + std::strerror(errno);
}

}  // namespace

std::string run_dir() {
  const char* d = std::getenv("OFA_RUN_DIR");
  return (d && *d) ? std::string(d) : std::string("/tmp/ofa");
}

std::string pq6_path(std::string_view name, uint32_t slot) {
  return under("pq6", std::string(name) + "." + std::to_string(slot));
}
std::string pq6_mp_path(std::string_view name) {
  return under("pq6", std::string(name) + ".mp");
}
std::string hsl_cmd_path(uint32_t slot) {
  return under("hsl", "cmd." + std::to_string(slot));
}
std::string hsl_event_path(uint32_t slot) {
  return under("hsl", "event." + std::to_string(slot));
}
std::string hsl_ctl_path(uint32_t slot) {
  return under("hsl", "ctl." + std::to_string(slot));
}
std::string ipc_path(std::string_view name, uint32_t slot) {
  return under("ipc", std::string(name) + "." + std::to_string(slot));
}
std::string qcf_path(std::string_view client) {
  return under("qcf", client);
}

std::optional<std::string> check_run_dir() {
  const std::string dir = run_dir();
  auto refuse = [&](const std::string& why) { return dir + ": run directory refused: " + why; };
  struct stat st {};
  if (::lstat(dir.c_str(), &st) != 0) {
    if (errno == ENOENT) return std::nullopt;
    return refuse(std::strerror(errno));
  }
  const uid_t me = ::geteuid();
  if (S_ISLNK(st.st_mode)) {
    if (st.st_uid != me) return refuse("a symbolic link of uid " + std::to_string(st.st_uid));
    if (::stat(dir.c_str(), &st) != 0) return refuse(std::strerror(errno));
  }
  if (!S_ISDIR(st.st_mode)) return refuse("not a directory");
  if (st.st_uid != me)
    return refuse("owned by uid " + std::to_string(st.st_uid) + ", not by uid " +
                  std::to_string(me));
  if (st.st_mode & (S_IWGRP | S_IWOTH)) {
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
    return refuse(std::string("writable by group or others (mode ") + mode + ")");
  }
  return std::nullopt;
}

std::optional<std::string> ensure_parent_dir(const std::string& path) {
  if (path.size() > kMaxSocketPath) {
    return path + ": longer than the " + std::to_string(kMaxSocketPath) +
           " bytes a socket address holds";
  }
  size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash == 0) return std::nullopt;
  std::string parent = path.substr(0, slash);
  // Make every missing folder from the top down; only the run directory's own folders are new.
  // The run directory is checked as soon as it exists, before anything is made inside it.
  const std::string root = run_dir();
  for (size_t at = 1; at <= parent.size(); ++at) {
    if (at == parent.size() || parent[at] == '/') {
      std::string dir = parent.substr(0, at);
      if (auto err = make_dir(dir)) return err;
      if (dir == root) {
        if (auto err = check_run_dir()) return err;
      }
    }
  }
  return std::nullopt;
}

}  // namespace ofa::platform
