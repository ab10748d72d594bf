#pragma once

// The wrapper API: callers name actions ("TRIVEX_ACTION_TOUCH_BOOST") and send textual
// notification payloads instead of command ids and resource lists.

#include "QarActionTable.h"
#include "QarPayloadBuilders.h"
#include "StringUtils.h"
