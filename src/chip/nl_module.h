// The HSL link as module 1 of the module table ("OF NL").
#pragma once

// Slot and chip tables, event socket, command socket; the first failure (the agent goes on).
int ofNLInit();
int ofNLStart();
int ofNLRecon();
int ofNLClientInit();
// Fills position 1 of openflow_modules ("OF NL").
void ofRegisterNLModule();
