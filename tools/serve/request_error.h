// What is wrong with a request, in words for whoever sent it.
#ifndef ZOCAM_TOOLS_SERVE_REQUEST_ERROR_H
#define ZOCAM_TOOLS_SERVE_REQUEST_ERROR_H

#include "tools/advice.h"

namespace serve {

// The same request fails again: status 400. A ToolError of another kind is 409, not now.
class RequestError : public ToolError {
 public:
  using ToolError::ToolError;
};

}  // namespace serve

#endif
