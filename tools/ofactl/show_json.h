// The agent's show texts as JSON lines: one object per block (a chip, a port, a VLAN, a flow, a
// row of a tree), named after the text's fields ("Port Id" becomes "port_id"). The parser knows
// every line the agent prints for a show; any other line is an error that names it, so that it
// checks the agent's text as much as it reads it.
#pragma once

#include <string>
#include <variant>

#include "table.h"

namespace ofa::ofactl {

std::variant<std::string, TableError> show_json(const std::string& text);

}  // namespace ofa::ofactl
