// The agent's side of the configuration manager's client: the client is set up at start, and each
// request code has its answer, run on the main loop.
//
// Codes: 16000 a show request (ofa_debug_handler); 16001 a debug text
// (openflow_ofa_debug_handler), answered "debugOpenflow 0x%08x"; 16002 makes the connection a
// follower of the debug channel (bit 17 of debugOpenflow), answered with the same debug word and
// then a frame per text; 16003 the scheduler's per-callback accounting (ofa_show_sched).
#pragma once

#include <cstdint>

inline constexpr uint32_t OFA_QCF_SHOW = 16000;
inline constexpr uint32_t OFA_QCF_DEBUG_TEXT = 16001;
inline constexpr uint32_t OFA_QCF_FOLLOW = 16002;
inline constexpr uint32_t OFA_QCF_SCHED = 16003;

// Names the client "ofagt_p<slot>", plugs its comm channel into the scheduler as the debug
// channel's low-priority fd, registers the request handlers and starts the client. Prints whether
// the client came up; the agent runs on either way. Always 0.
int ofa_qcf_init(int argc, char** argv);
// Stops the client (a clean stop only).
void ofa_qcf_exit();
