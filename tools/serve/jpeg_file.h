// Pictures as JPEG, for streams of them.
#ifndef ZOCAM_TOOLS_SERVE_JPEG_FILE_H
#define ZOCAM_TOOLS_SERVE_JPEG_FILE_H

#include <string>

#include "tools/picture.h"

namespace serve {

// Throws ToolError.
std::string EncodeJpeg(const Picture& picture);

}  // namespace serve

#endif
