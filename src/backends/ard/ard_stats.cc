// Policer and queue counters: slots 39, 28 and 27.
#include "backends/ard/ard_stats.h"

#include <algorithm>
#include <array>

#include "agent/status.h"
#include "chip/chip_req.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"
#include "chip/if_table.h"
#include "chip/queue_stats_record.h"
#include "platform/wire.h"

namespace {

constexpr uint32_t kInstances = 2;
constexpr uint32_t kKeyBytes = 12;

// The reply of n policers: the header, their 2n keys, the bit set, 2n results.
constexpr uint32_t pol_reply_length(uint32_t n) {
  uint32_t keys = kInstances * n;
  return OF_STATS_HDR_SIZE + kKeyBytes * keys + 4 * ((keys + 31) / 32) +
         OF_STATS_POLICER_RESULT_BYTES * keys;
}
static_assert(pol_reply_length(ARD_POL_STATS_MAX_IDS) <= OF_NL_MAX_REQUEST);
static_assert(pol_reply_length(ARD_POL_STATS_MAX_IDS + 1) > OF_NL_MAX_REQUEST);
static_assert(OF_STATS_HDR_SIZE + kInstances * kKeyBytes * ARD_POL_CLEAR_MAX_IDS <=
              OF_NL_MAX_REQUEST);
static_assert(OF_STATS_HDR_SIZE + kInstances * kKeyBytes * (ARD_POL_CLEAR_MAX_IDS + 1) >
              OF_NL_MAX_REQUEST);

using key_array = std::array<of_policer_key, kInstances * ARD_POL_CLEAR_MAX_IDS>;

// Both instances of each of the first `max` ids, in id order.
uint32_t pol_keys(const uint32_t* ids, uint32_t n, uint32_t max, key_array& keys) {
  n = std::min(n, max);
  for (uint32_t i = 0; i < n; ++i)
    for (uint32_t inst = 0; inst < kInstances; ++inst)
      keys[kInstances * i + inst] = {ids[i], inst};
  return kInstances * n;
}

}  // namespace

int ard_of_get_pol_stats(uint32_t chip_ifindex, const uint32_t* ids, uint64_t* first,
                         uint64_t* second, uint32_t n) {
  key_array keys{};
  uint32_t nkeys = ids ? pol_keys(ids, n, ARD_POL_STATS_MAX_IDS, keys) : 0;
  uint32_t rsp = std::max(OF_STATS_HDR_SIZE + kKeyBytes * nkeys, pol_reply_length(nkeys / 2));
  uint32_t len =
      of_build_policer_stats(ofNLReqArea(), OF_CMD_STATS_READ, std::span(keys).first(nkeys),
                             static_cast<uint16_t>(nkeys), 1, rsp);
  int rc = ofCosIoctl(chip_ifindex, ofNLReqArea().data(), len, nullptr, &rsp);
  if (rc != 0 || !first || !second) return rc;
  ofa::wire::Reader r(ofNLReqArea());
  for (uint32_t k = 0; k < nkeys; ++k) {
    uint32_t at =
        of_stats_result_offset(kKeyBytes * nkeys, nkeys, OF_STATS_POLICER_RESULT_BYTES, k);
    first[k / kInstances] += r.u64_at(at + 8);
    second[k / kInstances] += r.u64_at(at + 24);
  }
  return rc;
}

int ard_of_clr_pol_stats(const uint32_t* ids, uint32_t n) {
  key_array keys{};
  uint32_t nkeys = ids ? pol_keys(ids, n, ARD_POL_CLEAR_MAX_IDS, keys) : 0;
  uint32_t rsp = OF_STATS_HDR_SIZE + kKeyBytes * nkeys;
  uint32_t len = of_build_policer_stats(ofNLReqArea(), OF_CMD_STATS_CLEAR,
                                        std::span(keys).first(nkeys), 0, 0, rsp);
  return ofDispatchIoctlToAllChips(ofNLReqArea().data(), len, nullptr, &rsp);
}

int ard_of_get_queue_stats(of_queue_stats_record* record) {
  if (!record) return OFA_E_INVALID_ARG;
  const of_if_entry* port = ofLookupIfEntrybyPortId(static_cast<uint16_t>(record->port_id));
  if (!port || !port->chip) return OFA_E_BAD_OR_MISSING;
  uint32_t len = of_build_queue_stats(ofNLReqArea(), port->ifIndex);
  uint32_t rsp = len;
  int rc = ofCosIoctl(port->chip->ifindex, ofNLReqArea().data(), len, nullptr, &rsp);
  ofa::wire::Reader r(ofNLReqArea());
  for (uint32_t q = 0; q < OF_QUEUES_PER_PORT; ++q)
    record->queues[q] = rc == 0 ? of_queue_counters{r.u64_at(OF_QUEUE_STATS_FIRST + 8 * q),
                                                    r.u64_at(OF_QUEUE_STATS_SECOND + 8 * q)}
                                : of_queue_counters{};
  return rc;
}
