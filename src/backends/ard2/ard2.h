// The ard2 family's handlers: one per slot of the operation table (of_chip_handlers names the
// 40), each null until the ard2 backend fills it in.
#pragma once

#include "backends/chip_handlers.h"

inline constexpr of_chip_handlers ard2_handlers = {};
