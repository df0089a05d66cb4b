// The daemon's entry: everything main does, callable from tests.
#pragma once

// Exit code when the platform file cannot be read.
inline constexpr int OFA_EXIT_PLATFORM = 2;

// Runs the agent until its loop ends. 0 after SIGTERM/SIGINT; a start-up failure's negative
// code; -1 when the loop ends otherwise.
int openflow_agt_main(int argc, char** argv);
