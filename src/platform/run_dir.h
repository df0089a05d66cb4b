// Where the sockets of one switch live: every end point is a path under the run directory
// ($OFA_RUN_DIR, default /tmp/ofa). Folders are made with mode 0700 on first use.
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

// Creates the run directory and the folder that holds `path` (mode 0700). Returns an error text,
// or nothing on success.
std::optional<std::string> ensure_parent_dir(const std::string& path);

// Longest path a UNIX socket address can hold (sun_path less its terminator).
inline constexpr size_t kMaxSocketPath = 107;

}  // namespace ofa::platform
