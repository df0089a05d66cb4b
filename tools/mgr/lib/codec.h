// Messages to bytes and back. Encoders take the structures of messages.h and give the body or
// the whole message (header and body); several messages can be packed into one datagram.
// Decoders read through the bounds-checked reader and refuse a short or over-long message with a
// reason that names the message and the lengths involved.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "common/result.h"
#include "messages.h"

namespace ofa::mgr {

using tools::Result;

using Bytes = std::vector<uint8_t>;

// Body of a message (the bytes behind the transport header).
Result<Bytes> encode_body(const Message& m);
// Transport header and body.
Result<Bytes> encode(const Message& m);

// One datagram: messages back to back, each with its own header, no alignment.
class Datagram {
 public:
  // Appends a message; on failure nothing is appended and the reason is returned.
  std::optional<std::string> add(const Message& m);
  // Appends bytes as they stand (malformed input for tests of the agent).
  void add_raw(std::span<const uint8_t> bytes);
  const Bytes& bytes() const { return bytes_; }
  size_t messages() const { return messages_; }
  bool empty() const { return bytes_.empty(); }

 private:
  Bytes bytes_;
  size_t messages_ = 0;
};

// Reads the body of a message of the given type.
Result<Message> decode_body(uint32_t type, std::span<const uint8_t> body);

struct DecodeError {
  size_t offset = 0;  // of the message's header in the datagram
  std::string reason;
};
using Decoded = std::variant<Message, DecodeError>;

// Walks a datagram message by message. A message that cannot be read ends the walk: its
// DecodeError is the last element.
std::vector<Decoded> decode_datagram(std::span<const uint8_t> datagram);

// A flow split over several messages of at most `per_message` members each (at least 1): every
// message but the last says more fragments follow; the last keeps the flow's own fragment word.
std::vector<FlowMsg> split_fragments(const FlowMsg& flow, size_t per_message);

// The action key a flow gets when none is given: FNV-1a (32 bits) over the member count (two
// bytes, big-endian) and the members' bytes as encoded, so that flows with the same actions share
// a chain and others do not. 0 for a flow without members; a hash of 0 counts as 1.
uint32_t derived_action_key(const FlowMsg& flow);

// Stride of a flow member of the given version and length word (0 for other versions).
size_t member_stride(uint8_t version, uint16_t length_word);

}  // namespace ofa::mgr
