// Where the sockets of one switch live: every end point is a path under the run directory
// ($OFA_RUN_DIR, default /tmp/ofa). Folders are made with mode 0700 on first use. Whoever can write
// in the run directory can speak as the manager or as the chip, so every program refuses one that
// is not its user's own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ofa::platform {

// $OFA_RUN_DIR or "/tmp/ofa".
std::string run_dir();

// Paths of the end points (nothing is created).
std::string pq6_path(std::string_view name, uint32_t slot);  // pq6/<name>.<slot>
std::string pq6_mp_path(std::string_view name);              // pq6/<name>.mp
std::string hsl_cmd_path(uint32_t slot);                     // hsl/cmd.<slot>
std::string hsl_event_path(uint32_t slot);                   // hsl/event.<slot>
std::string hsl_ctl_path(uint32_t slot);                     // hsl/ctl.<slot>
std::string ipc_path(std::string_view name, uint32_t slot);  // ipc/<name>.<slot>
std::string qcf_path(std::string_view client);               // qcf/<client>

// The start-up check of every program: an error text when the run directory exists but is not a
// directory owned by this user, or is writable by group or others; nothing when it is fine or
// does not exist yet. A symbolic link counts as the directory it names, if this user owns it.
std::optional<std::string> check_run_dir();

// Creates the run directory and the folder that holds `path` (mode 0700), and checks the run
// directory again (it may have been made by another user meanwhile). Returns an error text, or
// nothing on success.
std::optional<std::string> ensure_parent_dir(const std::string& path);

// Longest path a UNIX socket address can hold (sun_path less its terminator).
inline constexpr size_t kMaxSocketPath = 107;

}  // namespace ofa::platform
