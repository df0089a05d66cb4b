// The state synchronization service (RSM) stand-in: an in-process stage driver. After a client
// registers, it posts a type-15 queue message carrying the boot mode's first stage (1002 cold,
// 1003 warm). The scheduler hands each such message to rsm_process, which calls the client's
// recover callback with that stage and posts its answer as the next stage; an answer of 0 ends
// the walk. So a cold start runs 1002, 1, 1001, 1000 and a warm start 1003, 2, 1001, 1000.
//
// OFA_RSM_DELAY_MS (environment) delays the first stage by that many milliseconds, holding the
// client in its start stage meanwhile.
#pragma once

#include <cstdint>

#include "platform/msg_queue.h"
#include "platform/rsm_stages.h"

struct rsm_callbacks {
  uint32_t (*recover)(uint32_t stage);
  int (*recv_update)(void* x, int version, int tid);
  int (*send_dump)(void* x, int version, int tid);
  int (*recv_dump)(void* x, int version, int sgno);
};

struct rsm_stage_row {
  uint32_t stage;
  char name[32];
};

struct rsm_registration {
  char svc[16];
  char inst[16];
  int32_t group;
  char atom[16];
  uint32_t zero1;
  const rsm_callbacks* callbacks;
  uint32_t nstages;
  const rsm_stage_row* stages;
  uint32_t zero2;
};

// Statuses a client notifies; the service gives them their meaning. A client ends a dump with
// DUMP_SENT, then DUMP_DONE.
inline constexpr int RSM_STATUS_DUMP_SENT = 3;
inline constexpr int RSM_STATUS_DUMP_DONE = 2;

// Registers the client and schedules its first stage on `msgq`; a handle (>= 0) or -1.
int rsmd_register(const rsm_registration* reg, MSG_Q_ID msgq);
int rsmd_notify_status(int handle, int status, int x);
// Called by the queue dispatcher with the word of a type-15 message.
void rsm_process(uint32_t stage);
// Stops a pending delayed start and forgets the client.
void rsmd_shutdown();
// Posts a stage as a type-15 message (as the driver does); for driving stages by hand.
int rsmd_post_stage(uint32_t stage);
// Number of statuses notified so far.
uint32_t rsmd_status_count();
