#include "platform/platform_file.h"
