// Steps the add, modify and delete paths share inside the flow engine.
#pragma once

#include <cstdint>

struct fd_entry;

// An older record with the new record's id goes first: an add is also a replace.
void of_replace_same_id(const fd_entry* flow);
// A copy that is not stored (ether type 65535): its members and the record are freed.
void of_discard_flow_copy(fd_entry* flow);
int openflow_generic_mode_program_hardware(fd_entry* flow);
int openflow_generic_mode_update_hardware(fd_entry* flow);
void openflow_cleanup_fd_entry(fd_entry* flow);
