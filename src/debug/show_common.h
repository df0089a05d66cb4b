// What the renderers share: the walk of a table, and what the group and meter renderers answer
// before their table (OpenFlow off, or a protocol version below 1.3).
#pragma once

#include <cstdint>

struct ofa_writer;
struct avl_node;

// Shows each item of a table's walk, in the table's order.
template <typename T>
void ofa_show_each(ofa_writer* w, T* (*first)(avl_node**), T* (*next)(avl_node**),
                   void (*show)(ofa_writer*, const T*)) {
  avl_node* it = nullptr;
  for (T* item = first(&it); item; item = next(&it))
    show(w, item);
}

// False, with the text printed, when the agent is not initialised ("Error: Openflow is disabled"
// for a single item, "Openflow not enabled!" for a list) or its mode is 3 or less.
bool ofa_show_check_version(ofa_writer* w, bool single);
// The head of the group or meter list: false, with the text printed, when the version check fails
// or the base holds nothing ("Total no. of entries printed: 0"); else prints `total` with `count`.
bool ofa_show_list_head(ofa_writer* w, const char* total, uint32_t count);
