#include "platform/ifindex.h"
