// The agent's status vocabulary: every result integer that table primitives, chip handlers,
// transports and start-up steps return, each named once. 0 is success; failures are negative.
// Where one integer serves several uses its name covers all of them (OFA_E_BAD_OR_MISSING);
// where two integers mean much the same, each keeps its own name (the HSL and the manager
// socket fail with different codes).
//
// Engine operations (flow, group, meter, VLAN, adapter) answer 1 for success and 0 for failure
// instead; those are not statuses of this list.
//
// ofa_status_name() has one case per name and no default: the build fails on a new integer
// without a text (-Wswitch) and on a text given twice for one integer (duplicate case value).
// Only a second name for an integer already listed would pass the compiler: each integer keeps
// the one name it has here.
#pragma once

enum ofa_status : int {
  OFA_OK = 0,
  OFA_E_GENERIC = -1,
  OFA_E_LIB_START = -2,
  OFA_E_IN_USE = -100,
  OFA_E_ABSENT = -105,
  OFA_E_CHIP = -106,
  OFA_E_NO_THREAD = -108,
  OFA_E_HSL_RECV = -110,
  OFA_E_HSL_SEND = -111,
  OFA_E_HSL_SOCKET = -112,
  OFA_E_PENDING = -114,
  OFA_E_MSG_TYPE = -119,
  OFA_E_OPEN = -120,
  OFA_E_MI_RECV = -121,
  OFA_E_MI_SEND = -122,
  OFA_E_WORKER = -123,
  OFA_E_PROCESS = -124,
  OFA_E_BAD_OR_MISSING = -125,
  OFA_E_NO_HANDLER = -126,
  OFA_E_NO_MEMORY = -127,
  OFA_E_INVALID_ARG = -128,
};

// The text of a status for traces and shows; "unknown status" for an integer not listed.
constexpr const char* ofa_status_name(int status) {
  switch (static_cast<ofa_status>(status)) {
    case OFA_OK:
      return "success";
    case OFA_E_GENERIC:
      return "failed";
    case OFA_E_LIB_START:
      return "library start failed";
    case OFA_E_IN_USE:
      return "still in use";
    case OFA_E_ABSENT:
      return "absent";
    case OFA_E_CHIP:
      return "chip refused the request";
    case OFA_E_NO_THREAD:
      return "no scheduler unit";
    case OFA_E_HSL_RECV:
      return "HSL receive failed";
    case OFA_E_HSL_SEND:
      return "HSL send failed";  // also preset in a request whose lengths are bad: never sent
    case OFA_E_HSL_SOCKET:
      return "HSL socket failure";
    case OFA_E_PENDING:
      return "request pending";  // preset in a request until the chip answers
    case OFA_E_MSG_TYPE:
      return "bad message type";
    case OFA_E_OPEN:
      return "open failed";
    case OFA_E_MI_RECV:
      return "manager receive failed";
    case OFA_E_MI_SEND:
      return "manager send failed";
    case OFA_E_WORKER:
      return "worker or I/O service failed";
    case OFA_E_PROCESS:
      return "process framework failed";
    case OFA_E_BAD_OR_MISSING:
      return "bad argument or not found";
    case OFA_E_NO_HANDLER:
      return "no handler";
    case OFA_E_NO_MEMORY:
      return "out of memory or table failure";
    case OFA_E_INVALID_ARG:
      return "invalid argument";
  }
  return "unknown status";
}
