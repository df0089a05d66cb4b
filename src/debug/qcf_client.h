// The agent's side of the configuration manager's client: the client is set up at start, and each
// request code has its answer, run on the main loop.
//
// Codes: 16003 the scheduler's per-callback accounting (ofa_show_sched). 16000 (show requests),
// 16001 (debug text) and 16002 (following the debug channel) are answered as unknown codes until
// their handlers join the table in qcf_client.cc.
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
