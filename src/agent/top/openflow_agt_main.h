// The daemon's entry: everything main does, callable from tests.
#pragma once

#include <cstddef>
#include <cstdint>

struct ipc_src;

// Exit code when the platform file cannot be read or the run directory is refused.
inline constexpr int OFA_EXIT_PLATFORM = 2;

// The first start-up steps: state pointer, process name (base name of argv[0], at most 80 bytes),
// RSM atom, options "S:s:d:v:c:m:i:g:".
void openflowAgt_parse_command_line(int argc, char** argv);

// Runs the agent until its loop ends. 0 after SIGTERM/SIGINT; a start-up failure's negative
// code; -1 when the loop ends otherwise.
int openflow_agt_main(int argc, char** argv);

// Start-up steps, in the order openflow_agt_main runs them.
int openflowAgt_corvu_init();
int openflowAgt_local_main(int argc, char** argv);
int ofa_get_hw_resrc_info();
// Fills position 2 of openflow_modules ("OF AGT") with the chip-up and region-delete callbacks.
void ofa_register_agent();
// The agent's databases: built once (1 also when already built), torn down on a global disable.
int openflow_init(uint8_t mode);
void openflow_destroy();
int openflowAgt_ipc_hdlr(uint32_t id, const ipc_src* src, const uint8_t* msg, size_t len);
void openflowAgt_msgq_server(void* msg);
