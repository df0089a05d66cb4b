// ofactl's requests: what each word of the command line sends, under which code, and how the
// answer to "flow N" is cut out of the full list.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ofa::ofactl {

inline constexpr uint32_t kCodePing = 0;        // not a frame code: the IPC end point's datagram
inline constexpr uint32_t kFlowListMax = 5000;  // flows the agent lists at most

extern const char* const kHelp;

struct Request {
  uint32_t code = 0;
  std::string text;              // sent as it stands
  std::optional<uint32_t> flow;  // "flow N": the flow to cut out of the full list
};

// The request of the command line's words, or the usage error. `raw` sends the words joined
// by blanks as a show request, unchecked.
std::variant<Request, std::string> read_request(const std::string& command,
                                                const std::vector<std::string>& args, bool raw);

// The block of flow `id` in the agent's full list, with the reply's closing newline; the
// agent's text for an unknown flow when the list is not cut at its limit; nothing when it is.
std::optional<std::string> flow_of_list(const std::string& list, uint32_t id);

// Whether bit 17 (the debug channel) is set in an answer "debugOpenflow 0x%08x".
bool channel_on(const std::string& debug_word);

}  // namespace ofa::ofactl
