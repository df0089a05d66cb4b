#include "control/platform_config.h"

namespace ofa::chipsim {

ModelConfig model_config(const platform::Platform& p) {
  ModelConfig cfg;
  cfg.model = p.model;
  cfg.family = family_of_model(p.model);
  cfg.l2_tcam_size = p.l2_tcam_size;
  cfg.l3_tcam_size = p.l3_tcam_size;
  cfg.platform = p;
  for (const auto& s : p.slots)
    for (const auto& c : s.chips)
      cfg.chips.push_back(
          {s.slot, c.local_id, c.type, static_cast<uint32_t>(p.flat_chip_id(s.slot, c.local_id))});
  return cfg;
}

std::vector<uint32_t> platform_slots(const platform::Platform& p) {
  std::vector<uint32_t> v;
  for (const auto& s : p.slots)
    v.push_back(s.slot);
  return v;
}

}  // namespace ofa::chipsim
