// The result block of an `ard` flow entry, shared by the add and the update of each kind: the
// forward action and destination from the flow's output or group action, the priority, DSCP and
// queue rewrites, the meter's policer and the no-statistics bit. The texts differ between an add
// and an update ("OFA add" / "OFA modify"); the bits do not, except that an L3 update sends to
// the controller with flags A only.
//
// 0, or -128 without touching the chip when the output port has no interface entry.
#pragma once

#include <cstdint>

#include "chip/chip_req.h"

struct fd_entry;
struct of_flow_actions;

enum class ard_flow_op : uint8_t { add, modify };

int ard_l2_result(const fd_entry& flow, const of_flow_actions& actions, uint32_t flat_chip_id,
                  ard_flow_op op, of_l2_result* out);
int ard_l3_result(const fd_entry& flow, const of_flow_actions& actions, uint32_t flat_chip_id,
                  ard_flow_op op, of_l3_result* out);
