// What the group and meter renderers answer before their table: OpenFlow off, or a protocol
// version below 1.3.
#pragma once

struct ofa_writer;

// False, with the text printed, when the agent is not initialised ("Error: Openflow is disabled"
// for a single item, "Openflow not enabled!" for a list) or its mode is 3 or less.
bool ofa_show_check_version(ofa_writer* w, bool single);
