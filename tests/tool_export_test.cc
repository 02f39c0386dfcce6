// The zocam command: taking recordings apart, checking and mending them.
#include "tests/tool.h"
