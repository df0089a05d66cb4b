// One port's queue counters, as the statistics tick asks a family's queue handler for them: the
// port, then the packets and bytes of its eight queues, queue 0 first.
#pragma once

#include <array>
#include <cstdint>

inline constexpr uint32_t OF_QUEUES_PER_PORT = 8;

struct of_queue_counters {
  uint64_t packets = 0;
  uint64_t bytes = 0;
};

struct of_queue_stats_record {
  uint32_t port_id = 0;
  std::array<of_queue_counters, OF_QUEUES_PER_PORT> queues{};
};
