// The model's configuration from a platform file: family by model, TCAM sizes, every chip.
#pragma once

#include <cstdint>
#include <vector>

#include "model/model.h"
#include "platform/platform_file.h"

namespace ofa::chipsim {

ModelConfig model_config(const platform::Platform& p);
// Slot numbers the platform describes, ascending.
std::vector<uint32_t> platform_slots(const platform::Platform& p);

}  // namespace ofa::chipsim
