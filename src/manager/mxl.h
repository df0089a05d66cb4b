// The agent's end of the manager socket (PQ6 "ofmgragt"): opening, receiving with its counters
// and error paths, the error queue, sending to the active MP, and the registration message.
#pragma once

#include <cstddef>
#include <cstdint>

#include "agent/agent_globals.h"
#include "platform/pq6.h"

inline constexpr const char* OFA_MI_SOCK_NAME = "ofmgragt";
inline constexpr const char* OFA_STATS_SOCK_NAME = "ofstats";
inline constexpr size_t OFA_MI_BUF_SIZE = 8192;

extern uint8_t openflow_mi_rxmsg[OFA_MI_BUF_SIZE];
extern uint32_t openflow_mi_rxsz;

int of_register_mxl_module(ofa_mi_handler_fn handler);
int of_mxl_init();
int of_init_mxl_sock(int* sock, const char* name, int (*callback)(int sock));
int of_mxl_start();
int of_mxl_process_msg(int sock);
int of_process_mxl_err_queue(int sock);
int of_send_mxl_msg(int sock, int zero, const uint8_t* buffer, size_t size);
int ofa_send_to_mgr(uint32_t type, const uint8_t* body, size_t size);
int ofa_send_register_msg();
int of_get_mxl_src_slotid(const pq6_addr* addr, uint32_t* slot);
int of_mxl_process_stats_msg(int handle);
// Closes the manager socket (clean shutdown).
void of_mxl_close();

// Zero-filled heap buffers for messages.
uint8_t* ipc_get_buffer(size_t size);
void ipc_free_buffer(uint8_t* buf);
