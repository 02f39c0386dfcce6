// The zocam command: making recordings and watching them.
#include "tests/tool.h"
