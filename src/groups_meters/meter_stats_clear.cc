// The meters' clear batch: policer ids waiting for one clear request to the chips (slot 28).
#include <array>

#include "adapter/chip_ops.h"
#include "agent/reset.h"
#include "groups_meters/meter.h"

namespace {

std::array<uint32_t, OF_METER_CLEAR_BATCH> g_clear_ids{};
uint32_t g_clear_count = 0;

const ofa_reset_hook reset_hook{6, [] { g_clear_count = 0; }};

}  // namespace

void lp_openflow_clear_hw_meter_stats(const meter_node* meter, int last) {
  if (meter && g_clear_count < g_clear_ids.size())
    g_clear_ids[g_clear_count++] = of_meter_policer_id(meter->meter_id);
  if (g_clear_count < g_clear_ids.size() && !last) return;
  if (g_clear_count == 0) return;
  if (of_clr_pol_stats_fn fn = of_chip_op(of_dpx_clr_pol_stats_fn))
    fn(g_clear_ids.data(), g_clear_count);
  g_clear_count = 0;
}
