// Statistics: on each tick the agent reads a slice of its flow counters, its meters' policers and
// its ports' queues from the chips and pushes them to the manager, flows first, then meters, then
// queues. No tick can hold the loop for long: at most 100 flows a tick, resumed by a cursor, and
// a meter walk that stops after 50 ms and resumes at the next tick.
//
// Messages (big-endian, header included; fields not named are 0):
//   flow, type 5, 32 bytes: header 0x0140001C, 1 at 4, flow id at 8, packets at 16, bytes at 24.
//   queue, type 6, 336 bytes: header 0x0180014C, 1 at 4, port id at 8, then from 16 eight
//     records of 40 bytes, queue 0 first: the queue number at 4, bytes at 8, packets at 16.
//   meter, type 4, always 1736 bytes: header 0x010006C4, the record count at 4, then from 8 up
//     to 27 records of 64 bytes: meter id at 0, in packets at 8, in bytes at 16, drop packets
//     and bytes at 32 and 40 (a DROP band only), remark packets and bytes at 48 and 56 (a
//     DSCP-REMARK band only).
#pragma once

#include <cstdint>

#include "chip/flow_stats_batch.h"
#include "chip/queue_stats_record.h"

struct meter_node;

inline constexpr uint32_t OFA_STATS_FLOWS_PER_TICK = 100;
inline constexpr uint32_t OFA_STATS_METER_BATCH = 25;
inline constexpr uint32_t OFA_STATS_METER_LIMIT_MS = 50;
inline constexpr uint32_t OFA_STATS_METER_RECORDS = 27;
inline constexpr uint32_t OFA_FLOW_STATS_MSG_SIZE = 32;
inline constexpr uint32_t OFA_QUEUE_STATS_MSG_SIZE = 336;
inline constexpr uint32_t OFA_METER_STATS_MSG_SIZE = 1736;
inline constexpr uint32_t OFA_METER_RECORD_SIZE = 64;

// ---- life -------------------------------------------------------------------------------------
// The two flow buckets (openflow_init): 1, or 0 when they cannot be had.
int ofa_stats_init();
// Frees the buckets and forgets the cursors and the kept meter walk (openflow_destroy).
void ofa_stats_destroy();
// The tick's period: OFA_STATS_PERIOD_MS when set to a positive number, else 5000.
uint32_t ofa_stats_period_ms();
// One tick: flows, meters, queues.
void ofa_stats_tick();
// The clock of the 50 ms limit (milliseconds), and the send of every statistics message to the
// manager (0 or a negative status); tests may set their own.
extern uint64_t (*ofa_stats_clock_ms)();
extern int (*ofa_stats_send)(const uint8_t* msg, uint32_t size);

// ---- flows --------------------------------------------------------------------------------------
// 1; at most 100 flows from the cursor, whatever `batch`. *out takes 0 when nothing is polled.
int lp_openflow_poll_stats_counters(uint32_t batch, uint32_t* out);
// The position in the flow id table where the next tick starts.
uint32_t ofa_stats_flow_cursor();
// Slot 25 once for the L2 rows and once for the L3 rows, each only when it has rows.
void of_dpx_get_flow_stats(of_flow_stats_batch* batch);
// Pushes each row whose counters differ from what its flow stored, and stores them.
void of_dpx_process_flow_stats(of_flow_stats_batch* batch);
int ofa_push_flow_stats(uint32_t flow_id, uint64_t packets, uint64_t bytes);
// The cumulative counters of the packets and bytes trapped to the controller, shown with every
// flow that sends there.
extern uint64_t g_openflow_pkt_to_cpu_cnt;
extern uint64_t g_openflow_bytes_to_cpu_cnt;

// ---- meters -------------------------------------------------------------------------------------
void lp_openflow_sync_meter_statistics();
// Forgets the kept meter and the read batch (the meter base's init, a global disable).
void ofa_stats_meter_reset();

// ---- queues -------------------------------------------------------------------------------------
void openflow_ofa_sync_queue_stats();
// 0, or -1 when the family has no queue handler; a refused read leaves zero counters.
int of_dpx_get_queue_stats(of_queue_stats_record* record);
int ofa_push_queue_stats(const of_queue_stats_record& record);
