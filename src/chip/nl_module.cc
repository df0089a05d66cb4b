// The HSL link as module 1 of the module table ("OF NL"): at init it builds the slot and chip
// tables, opens the event socket with its reader and then the command socket (or, in a
// manager-side build, the packet socket).
#include "chip/nl_module.h"

#include "agent/agent_globals.h"
#include "agent/trace.h"
#include "chip/chip_table.h"
#include "chip/hsl_transport.h"

int ofNLInit() {
  ofInitSlotTable();
  int rc = ofInitChipTable();
  if (rc != 0) return rc;
  uint32_t size = 0;
  ofNLSocketInit(&ofHslEventSock, "ofHslEvent", &size);
  rc = ofNLSocket(&ofHslEventSock, OF_NL_CLIENT_EVENT);
  if (rc != 0) return rc;
  rc = ofNLRecvMsgThread(&ofHslEventSock, ofNLRspBuf.data(), OF_NL_RSP_BUF_SIZE, ofProcessHslEvent,
                         0);
  if (rc != 0) return rc;
  if (of_corvu_state.is_agent == 0) {
    ofNLSocketInit(&ofHslMgrSock, "ofHslPkt", &size);
    rc = ofNLSocket(&ofHslMgrSock, OF_NL_CLIENT_PKT);
    if (rc != 0) return rc;
    return ofNLRecvMsgThread(&ofHslMgrSock, ofNLPktBuf.data(), OF_NL_PKT_BUF_SIZE, ofProcessHslPkt,
                             0);
  }
  // The command socket answers inside each ioctl; nothing is ever left on it for a reader.
  ofNLSocketInit(&ofHslCmdSock, "ofHslCmd", &size);
  return ofNLSocket(&ofHslCmdSock, OF_NL_CLIENT_CMD);
}

int ofNLStart() {
  file_printf("ofNLStart: enter");
  file_printf("ofNLStart: exit");
  return 0;
}

int ofNLRecon() {
  file_printf("ofNLRecon: enter");
  file_printf("ofNLRecon: exit");
  return 0;
}

int ofNLClientInit() {
  file_printf("Client Init..");
  return 0;
}

void ofRegisterNLModule() {
  openflow_module& m = openflow_modules[OF_MODULE_NL];
  m.id = OF_MODULE_NL;
  m.name = "OF NL";
  m.init = ofNLInit;
  m.start = ofNLStart;
}
