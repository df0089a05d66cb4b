// The chip model: every chip of one switch, the requests that change them, and the tools around
// them (faults, synthetic traffic, dump, statistics). No sockets here: the server and the tests
// hand it message buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "model/family.h"
#include "model/state.h"
#include "platform/platform_file.h"

namespace ofa::chipsim {

inline constexpr uint32_t kNoFlatId = 0xFFFFFFFF;

struct ChipConfig {
  uint32_t slot = 0;
  uint32_t local_id = 0;
  uint32_t type = 0;
  uint32_t flat_id = kNoFlatId;  // its place in the platform's chip table
};

struct ModelConfig {
  uint32_t model = 131;
  Family family = Family::ard;
  uint32_t l2_tcam_size = 0;  // 0: region sizes are not checked against the TCAM
  uint32_t l3_tcam_size = 0;
  std::vector<ChipConfig> chips;
  // Port names, which chip serves which port, the IIVID and mgid ranges, the slot served (its
  // my_slot). Empty in tests that need none of it: then no range is counted.
  platform::Platform platform;
};

struct CommandCounters {
  uint64_t requests = 0;
  uint64_t errors = 0;
};

struct Stats {
  uint64_t messages = 0;   // ioctls
  uint64_t requests = 0;   // requests, sub-requests of a bulk included
  uint64_t errors = 0;     // requests answered with a non-zero status
  uint64_t malformed = 0;  // refused for their envelope, lengths or command
  uint64_t faults_fired = 0;
  // Placement violations of TCAM entry adds.
  uint64_t not_neighbours = 0;
  uint64_t unknown_neighbour = 0;
  uint64_t handle_in_use = 0;
  uint64_t region_full = 0;
  // IIVIDs and mgids programmed outside the platform's ranges (not refused).
  uint64_t iivid_outside = 0;
  uint64_t mgid_outside = 0;
  std::map<uint32_t, CommandCounters> by_command;

  uint64_t placement_violations() const {
    return not_neighbours + unknown_neighbour + handle_in_use + region_full;
  }
};

enum class FaultMode { once, times, from };

// A status to answer in place of the chip's work for a command: once, for the next n requests,
// or from the n-th request on (counted from when the fault is set), on every chip or on one, for
// statistics of every class or of one. A slow entry (delay_ms above 0) carries the request out
// and answers it that much later instead.
struct Fault {
  uint32_t command = 0;
  int32_t status = -1;
  uint32_t chip = 0;  // interface index of the one chip it applies to; 0 for every chip
  uint32_t cls = 0;   // statistics class (word 28) it applies to; 0 for every class
  uint32_t delay_ms = 0;
  FaultMode mode = FaultMode::once;
  uint32_t n = 1;
  uint32_t seen = 0;
  uint32_t fired = 0;
};

// Bytes of an HSL command message: the 20-byte envelope, the routing block to 48, the request.
inline constexpr size_t kEnvelopeSize = 20;
inline constexpr size_t kRequestOffset = 48;
inline constexpr size_t kMaxMessage = 4096;
inline constexpr uint16_t kCommandType = 203;

class Model {
 public:
  explicit Model(ModelConfig cfg);

  // One ioctl. `msg` is the agent's buffer with room for the answer (up to 4096 bytes); the
  // first `received` bytes came in. The answer is written in place; the result is how many bytes
  // of `msg` to send back.
  size_t ioctl(std::span<uint8_t> msg, size_t received);

  // One JSON line per ioctl (the decoded request and the status answered).
  void set_request_log(std::function<void(const std::string&)> sink) { log_ = std::move(sink); }
  // One text line per refused request.
  void set_error_log(std::function<void(const std::string&)> sink) { errlog_ = std::move(sink); }

  void add_fault(const Fault& f) { faults_.push_back(f); }
  // Removes the faults of one command, or all.
  void clear_faults(std::optional<uint32_t> command = std::nullopt);
  const std::vector<Fault>& faults() const { return faults_; }

  // Synthetic traffic. A chip of nullopt means every chip. Each answers how many objects moved.
  size_t traffic_entry(std::optional<uint32_t> chip, uint8_t ldev, uint8_t region, uint32_t handle,
                       uint64_t packets, uint64_t bytes);
  size_t traffic_all(uint64_t packets, uint64_t bytes);
  size_t traffic_policer(std::optional<uint32_t> chip, uint32_t id, uint32_t instance,
                         uint64_t first, uint64_t second);
  size_t traffic_queue(std::optional<uint32_t> chip, uint32_t ifindex, uint32_t queue,
                       uint64_t packets, uint64_t bytes);

  // Empties every chip and clears the statistics and faults.
  void reset();

  std::string dump_json() const;
  std::string stats_json() const;

  const ModelConfig& config() const { return cfg_; }
  Family family() const { return cfg_.family; }
  const FamilyRules& rules() const { return family_rules(cfg_.family); }
  const std::map<uint32_t, ChipState>& chips() const { return chips_; }
  ChipState* chip(uint32_t ifindex);
  const Stats& stats() const { return stats_; }

  // Used by the request handlers.
  Stats& mutable_stats() { return stats_; }
  // The fault that answers this request, if one fires; counts it. `cls` is the statistics class
  // of a statistics request, else 0.
  std::optional<int32_t> take_fault(uint32_t command, uint32_t chip, uint32_t cls = 0);
  // The delay of a slow entry that fires for this request, 0 for none.
  uint32_t take_delay(uint32_t command, uint32_t chip, uint32_t cls = 0);
  void error_line(const std::string& line) {
    if (errlog_) errlog_(line);
  }
  bool logging() const { return static_cast<bool>(log_); }

 private:
  void build_chips();

  // The first entry of the kind (slow or not) that fires for the request, counted; or end.
  std::vector<Fault>::iterator fire(uint32_t command, uint32_t chip, uint32_t cls, bool slow);

  ModelConfig cfg_;
  std::map<uint32_t, ChipState> chips_;
  Stats stats_;
  std::vector<Fault> faults_;
  uint64_t seq_ = 0;
  std::function<void(const std::string&)> log_;
  std::function<void(const std::string&)> errlog_;
};

// Checks the model's tables against each other; answers one line per inconsistency.
std::vector<std::string> check_invariants(const Model& m);
// Warnings, one line each: TCAM results naming a multicast group, next hop or policer that the
// chip lacks (a group may also stand on a multicast-only chip).
std::vector<std::string> check_dangling(const Model& m);

}  // namespace ofa::chipsim
