// An aligned table of the agent's answers as JSON: the header line names the columns, separated
// by at least two blanks like every row's fields; each row becomes an object whose keys are the
// column names with blanks turned into '_', numbers as numbers and anything else as text.
#pragma once

#include <string>
#include <variant>

namespace ofa::ofactl {

struct TableError {
  std::string message;  // names the line that cannot be read
};

// One JSON object per row, one per line.
std::variant<std::string, TableError> table_json(const std::string& text);

}  // namespace ofa::ofactl
