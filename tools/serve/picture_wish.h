// A picture of the next frame, wished for by somebody who waits for it. It is made where the frame
// is decoded, because a frame must be decoded once only: some models follow the sensor's
// temperature from frame to frame.
#ifndef ZOCAM_TOOLS_SERVE_PICTURE_WISH_H
#define ZOCAM_TOOLS_SERVE_PICTURE_WISH_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zocam/zocam.hpp"

#include "tools/picture.h"
#include "tools/picture_options.h"
#include "tools/png_file.h"
#include "tools/scale_bar.h"

namespace serve {

// How a picture is to look, as an address's query tells it.
struct PictureStyle {
  PictureOptions options;
  PictureLayout layout;
  uint32_t turns = 0;  // by 90 degrees, clockwise
};

// palette, gain, range, scale, bar, turn; what is left out is as for zocam snapshot. Throws
// ToolError.
PictureStyle StyleOf(const std::string& target);

struct WishedPicture {
  Picture picture;                   // as large as the camera's image
  std::optional<ColourScale> scale;  // none: there is no picture
  zocam::TemperatureImage image;     // the values behind it
  std::vector<PngText> origin;       // what a file of it says of its camera
};

struct PictureWish {
  PictureStyle style;
  // Called once, on the thread that decodes: it must not wait there.
  std::function<void(const WishedPicture&)> fulfil;
};

// Makes a picture of a frame whose values are known: only as much of it as needs the camera's
// handle, for the camera waits meanwhile. Throws ToolError and zocam::Error.
WishedPicture MakePicture(const zocam::Frame& frame, const zocam::TemperatureImage& image,
                          zocam::Device& device, const PictureStyle& style);

// Turned, enlarged and with the scale beside it, as wished.
Picture Compose(const WishedPicture& wished, const PictureStyle& style);

}  // namespace serve

#endif
