#include "agent/top/openflow_agt_main.h"

int main(int argc, char** argv) {
  return openflow_agt_main(argc, argv);
}
