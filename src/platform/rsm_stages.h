// The stages of state synchronization in one table. The stage driver (platform/rsmd) starts a
// walk at the stage of the boot mode; the agent's recover callback (agent/rsm) answers each stage
// with the next one, enters its own stage index, prints the stage's line, and names stages in its
// summary, all from the rows below.
#pragma once

#include <array>
#include <cstdint>

// RSM stage numbers.
inline constexpr uint32_t RSM_STAGE_CLIENT_INIT = 1;
inline constexpr uint32_t RSM_STAGE_WARM_CLIENT_INIT = 2;
inline constexpr uint32_t RSM_STAGE_DONE = 1000;
inline constexpr uint32_t RSM_STAGE_ACTIVE = 1001;
inline constexpr uint32_t RSM_STAGE_COLD = 1002;
inline constexpr uint32_t RSM_STAGE_WARM = 1003;
inline constexpr uint32_t RSM_STAGE_HALT = 1004;
inline constexpr uint32_t RSM_STAGE_STANDBY = 1005;

// The agent's own stage index (of_corvu_state.stage).
enum : uint32_t {
  OFA_STAGE_COLD_BOOT = 0,
  OFA_STAGE_WARM_BOOT = 1,
  OFA_STAGE_CLIENT_INIT = 2,
  OFA_STAGE_WARM_CLIENT_INIT = 3,
  OFA_STAGE_ACTIVE = 4,
  OFA_STAGE_STARTUP_DONE = 5,
  OFA_STAGE_STANDBY = 6,
  OFA_STAGE_HALT = 7,
  OFA_STAGE_UNKNOWN = 12,
};

// The boot mode a stage starts.
enum class rsm_boot : uint8_t { none, cold, warm };

struct rsm_stage_info {
  uint32_t stage;        // RSM stage number
  uint32_t next;         // the recover callback's answer; 0 ends the walk
  uint32_t agent_stage;  // the agent's stage index it enters
  const char* name;      // name of that index
  const char* recover;   // the recover callback's line
  rsm_boot boot;         // boot mode it starts (recorded as the boot mode)
  bool recorded;         // recorded as the last stage seen
  bool in_summary;       // named by the summary; otherwise it shows as "Unknown"
};

inline constexpr std::array<rsm_stage_info, 8> RSM_STAGES = {{
    {RSM_STAGE_COLD, RSM_STAGE_CLIENT_INIT, OFA_STAGE_COLD_BOOT, "Cold Boot", "RSM stage COLD..",
     rsm_boot::cold, true, true},
    {RSM_STAGE_WARM, RSM_STAGE_WARM_CLIENT_INIT, OFA_STAGE_WARM_BOOT, "Warm Boot",
     "RSM stage WARM..", rsm_boot::warm, true, true},
    {RSM_STAGE_CLIENT_INIT, RSM_STAGE_ACTIVE, OFA_STAGE_CLIENT_INIT, "Client Initialization",
     "RSM stage CLIENT INIT..", rsm_boot::none, true, true},
    {RSM_STAGE_WARM_CLIENT_INIT, RSM_STAGE_ACTIVE, OFA_STAGE_WARM_CLIENT_INIT,
     "Warm Client Initialization", "RSM stage WARM CLIENT INIT..", rsm_boot::none, true, false},
    {RSM_STAGE_ACTIVE, RSM_STAGE_DONE, OFA_STAGE_ACTIVE, "Active", "RSM stage ACTIVE..",
     rsm_boot::none, true, true},
    {RSM_STAGE_DONE, 0, OFA_STAGE_STARTUP_DONE, "Startup Done", "RSM stage DONE..", rsm_boot::none,
     false, false},
    {RSM_STAGE_STANDBY, RSM_STAGE_DONE, OFA_STAGE_STANDBY, "Standby", "RSM stage STANDBY..",
     rsm_boot::none, true, true},
    {RSM_STAGE_HALT, RSM_STAGE_DONE, OFA_STAGE_HALT, "Halt", "RSM stage HALT..", rsm_boot::none,
     true, true},
}};

// The row of an RSM stage number, or null.
constexpr const rsm_stage_info* rsm_stage_find(uint32_t stage) {
  for (const rsm_stage_info& row : RSM_STAGES)
    if (row.stage == stage) return &row;
  return nullptr;
}

// The name of an agent stage index; "Unknown" for an index no stage enters.
constexpr const char* rsm_agent_stage_name(uint32_t agent_stage) {
  for (const rsm_stage_info& row : RSM_STAGES)
    if (row.agent_stage == agent_stage) return row.name;
  return "Unknown";
}

// The first stage of a boot mode.
constexpr uint32_t rsm_boot_stage(rsm_boot boot) {
  for (const rsm_stage_info& row : RSM_STAGES)
    if (row.boot == boot) return row.stage;
  return 0;
}

// "Cold", "Warm", or "Unknown" for a stage that starts no boot mode.
constexpr const char* rsm_boot_name(uint32_t stage) {
  const rsm_stage_info* row = rsm_stage_find(stage);
  rsm_boot boot = row ? row->boot : rsm_boot::none;
  return boot == rsm_boot::cold ? "Cold" : boot == rsm_boot::warm ? "Warm" : "Unknown";
}

// The walk of a boot mode: its first stage, then each answer, up to the stage that answers 0.
constexpr bool rsm_walks(rsm_boot boot, std::array<uint32_t, 4> expected) {
  uint32_t stage = rsm_boot_stage(boot);
  for (uint32_t want : expected) {
    if (stage != want) return false;
    uint32_t next = 0;
    for (const rsm_stage_info& row : RSM_STAGES)
      if (row.stage == stage) next = row.next;
    stage = next;
  }
  return stage == 0;
}
static_assert(rsm_walks(rsm_boot::cold, {1002, 1, 1001, 1000}));
static_assert(rsm_walks(rsm_boot::warm, {1003, 2, 1001, 1000}));
