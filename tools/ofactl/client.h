// One request to a running agent over its debug client socket: connect, send one frame, read the
// reply frame. Frame: u32 big-endian length of the rest, u32 code, text.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

namespace ofa::ofactl {

inline constexpr uint32_t kCodeShow = 16000;
inline constexpr uint32_t kCodeDebug = 16001;
inline constexpr uint32_t kCodeFollow = 16002;
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

// Sends `text` under `code`, then hands each frame of that code to `on_frame`: the first within
// `timeout` seconds, the next ones whenever they come. Ends only when the connection does: why.
Failure follow(uint32_t slot, uint32_t code, const std::string& text, double timeout,
               const std::function<void(const std::string&)>& on_frame);

// Sends a datagram to the agent's IPC end point ipc/IPCOPENFLOWAGT.<slot> from ipc/ofactl.<pid>
// and waits up to `timeout` seconds for its 4-byte answer (0xbaadbabe).
std::variant<uint32_t, Failure> ping(uint32_t slot, double timeout);

}  // namespace ofa::ofactl
