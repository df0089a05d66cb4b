// The model as aligned text for people: per chip its regions, its TCAM entries in chip order and
// how many objects of each other kind it holds.
#pragma once

#include <string>

#include "model/model.h"

namespace ofa::chipsim {

std::string show_text(const Model& m);

}  // namespace ofa::chipsim
