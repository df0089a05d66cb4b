// One request to a running agent over its debug client socket: connect, send one frame, read the
// reply frame. Frame: u32 big-endian length of the rest, u32 code, text.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace ofa::ofactl {

inline constexpr uint32_t kCodeSched = 16003;
inline constexpr uint32_t kRequestMax = 4096;     // most bytes after a request's length field
inline constexpr uint32_t kReplyMax = 64u << 20;  // a longer reply is refused as unreadable

struct Reply {
  std::string text;
};
struct Failure {
  std::string message;  // for stderr, without the tool's name
};

// The socket path of the agent of `slot` under the run directory.
std::string agent_path(uint32_t slot);

// Sends `text` under `code` and waits up to `timeout` seconds for the reply of that code.
std::variant<Reply, Failure> ask(uint32_t slot, uint32_t code, const std::string& text,
                                 double timeout);

}  // namespace ofa::ofactl
