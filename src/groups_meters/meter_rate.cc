// The meter arithmetic: the manager's kilobits per second become the chips' bytes per second,
// and a one-band meter without a burst gets 1.2 times its rate.
#include <string>

#include "agent/trace.h"
#include "groups_meters/meter.h"
#include "platform/wire.h"

meter_msg of_meter_msg_read(std::span<const uint8_t> msg) {
  ofa::wire::Reader r(msg.data(), msg.size());
  meter_msg m;
  m.sub_type = r.u32_at(0) & 0xffff;
  m.meter_id = r.u32_at(8);
  m.flags = r.u32_at(12);
  m.drop_rate = r.u32_at(16);
  m.drop_burst = r.u32_at(20);
  m.dscp_rate = r.u32_at(24);
  m.dscp_burst = r.u32_at(28);
  m.dscp_prec_level = r.u32_at(32);
  m.band_cnt = r.u32_at(36);
  return m;
}

void openflow_print_rate_adjusted(uint64_t rate, int kind, int print) {
  if (!print || !(debugOpenflow & OFA_DEBUG_ON)) return;
  // The value is in bytes; the text has always said bits.
  file_printf("Average %srate is adjusted to %s bits per second.\n",
              kind == OF_RATE_EXCESS ? "excess " : "", std::to_string(rate).c_str());
}

int openflow_adjust_rate(uint64_t* rate, int kind, int print) {
  uint64_t bits = *rate * 1000;
  uint64_t adjusted = bits >> 3;
  if (adjusted == bits) return 0;  // a zero rate
  openflow_print_rate_adjusted(adjusted, kind, print);
  *rate = adjusted;
  return 0;
}

int openflow_adjust_burst_size(uint64_t rate, uint64_t* burst) {
  if (*burst == 0) *burst = static_cast<uint64_t>(static_cast<double>(rate) * 1.2);
  file_printf("Burst_size adjuted:%s\n", std::to_string(*burst).c_str());
  return 0;
}

void openflow_build_meter_config(meter_config* config, const meter_msg& m) {
  file_printf("%s: band_cnt:%d\n", __func__, static_cast<int>(m.band_cnt));
  *config = {};
  if (m.band_cnt > 1) {
    uint64_t committed = m.dscp_rate, excess = m.drop_rate;
    openflow_adjust_rate(&committed, OF_RATE_COMMITTED, 1);
    openflow_adjust_rate(&excess, OF_RATE_EXCESS, 1);
    config->committed_rate = committed;
    config->committed_burst = m.dscp_burst;
    config->excess_rate = excess;
    config->excess_burst = m.drop_burst;
    config->excess_prec_level = m.dscp_prec_level;
    return;
  }
  uint64_t rate = m.drop_rate, burst = m.drop_burst;
  openflow_adjust_rate(&rate, OF_RATE_COMMITTED, 1);
  file_printf("cir adjusted:%s(%d)\n", std::to_string(rate).c_str(), static_cast<int>(rate));
  openflow_adjust_burst_size(rate, &burst);
  config->committed_rate = rate;
  config->committed_burst = static_cast<uint32_t>(burst);
  file_printf("Burst size adjusted:%s(%d)\n", std::to_string(burst).c_str(),
              static_cast<int>(burst));
}
