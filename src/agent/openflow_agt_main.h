// The daemon's entry: everything main does, callable from tests.
#pragma once

// Exit code when the platform file cannot be read.
inline constexpr int OFA_EXIT_PLATFORM = 2;

// The first start-up steps: state pointer, process name (base name of argv[0], at most 80 bytes),
// RSM atom, options "S:s:d:v:c:m:i:g:".
void openflowAgt_parse_command_line(int argc, char** argv);

// Runs the agent until its loop ends. 0 after SIGTERM/SIGINT; a start-up failure's negative
// code; -1 when the loop ends otherwise.
int openflow_agt_main(int argc, char** argv);
