#include "platform/run_dir.h"
