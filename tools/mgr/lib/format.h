// Messages for people and for programs: one aligned summary line, every field as name/value
// rows, or one JSON object per message.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "messages.h"

namespace ofa::mgr {

// Short kind of a message: "status", "register", "flow", "group", ...
std::string_view message_kind(const Message& m);

// One line with the fields that matter, columns aligned across messages of one kind.
std::string summary(const Message& m);

// Every field with its value, list items as "members[0].out_port_id".
std::vector<std::pair<std::string, std::string>> field_rows(const Message& m);

// One JSON object (no newline): {"kind":"status","type":3,...every field...}.
std::string to_json(const Message& m);

std::string hex_text(std::span<const uint8_t> bytes);

}  // namespace ofa::mgr
