// A flow operation message made into an fd_entry and its action members.
//
// Members stand end to end from offset 236; each begins with a 16-bit word whose low 10 bits give
// L, and the next one stands 48 + L (version 1) or 76 + L (version 4) bytes further on. A member
// is read only when its fixed fields (52 or 80 bytes) lie inside the message: one that reaches
// past it fails the copy.
#pragma once

#include <cstdint>
#include <span>

struct fd_entry;
struct of_flow_member;

inline constexpr uint32_t OF_FLOW_OFF_MEMBER_COUNT = 136;
inline constexpr uint32_t OF_FLOW_OFF_ETHER_TYPE = 80;
inline constexpr uint32_t OF_FLOW_OFF_MEMBERS = 236;
// Remaining-members message: count at 32, members from 36.
inline constexpr uint32_t OF_FRAG_OFF_MEMBER_COUNT = 32;
inline constexpr uint32_t OF_FRAG_OFF_MEMBERS = 36;

uint32_t of_flow_msg_more_fragments(std::span<const uint8_t> msg);
uint16_t of_flow_msg_ether_type(std::span<const uint8_t> msg);

// A new record with every member of the message, or null with the reason in the reply text.
// `member_count` overrides the message's count (a prefix add copies none).
fd_entry* openflow_generic_mode_copy_flow(std::span<const uint8_t> msg, uint16_t member_count);
// Appends `count` members starting at `first` of the message to the record: true, or false
// with "Error - %s: Copy Flow Action Failed" when one cannot be read or allocated (the members
// appended by this call are gone again).
bool openflow_generic_mode_copy_members(fd_entry* flow, std::span<const uint8_t> msg,
                                        uint32_t first, uint32_t count);
// MODIFY_FLOW's copy of the message's members into an existing record.
fd_entry* openflow_generic_mode_copy_flow_action(fd_entry* flow, std::span<const uint8_t> msg);
void of_free_member_list(of_flow_member* head);
// The record's members whose group id is not -255.
bool of_flow_has_group_member(const fd_entry* flow);
