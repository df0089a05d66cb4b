// `ard` statistics handlers of policers and queues (slots 39, 28 and 27); the flow counters are
// ard_flows.h's. A policer is read and cleared as its two instances, (id, 0) and (id, 1).
#pragma once

#include <cstdint>

struct of_queue_stats_record;

// Reads the policers of `ids` on the chip of `chip_ifindex` and adds, per id, the committed
// counters of both instances into first[i] and the exceed counters into second[i]. A reply that
// failed adds nothing. At most ARD_POL_STATS_MAX_IDS ids are read.
int ard_of_get_pol_stats(uint32_t chip_ifindex, const uint32_t* ids, uint64_t* first,
                         uint64_t* second, uint32_t n);
// Clears both instances of each id on every chip; at most ARD_POL_CLEAR_MAX_IDS ids.
int ard_of_clr_pol_stats(const uint32_t* ids, uint32_t n);
// The port's eight queues from the port's chip; a failed read leaves every counter 0.
int ard_of_get_queue_stats(of_queue_stats_record* record);

// A read of this many policers fills the request buffer: keys, bit set and 2 results each.
inline constexpr uint32_t ARD_POL_STATS_MAX_IDS = 45;
// A clear of this many policers fills it with keys.
inline constexpr uint32_t ARD_POL_CLEAR_MAX_IDS = 166;
