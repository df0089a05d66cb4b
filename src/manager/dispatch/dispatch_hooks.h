// The hooks the top registered, shared by the dispatch sources.
#pragma once

#include "manager/dispatch/dispatch.h"

extern ofa_dispatch_hooks g_dispatch_hooks;
