// Pictures of a recording that keep their brightness: one gain and one colour scale for all of
// them.
#ifndef ZOCAM_TOOLS_STEADY_PICTURES_H
#define ZOCAM_TOOLS_STEADY_PICTURES_H

#include <chrono>

#include "zocam/zocam.hpp"

#include "tools/picture.h"
#include "tools/picture_options.h"
#include "tools/scale_bar.h"

struct TimeRange {
  std::chrono::milliseconds from{};
  std::chrono::milliseconds to = zocam::Recording::kToTheEnd;  // both belong to it
};

class SteadyPictures {
 public:
  // The recording has been given its options for decoding. The gain is made of the range.
  SteadyPictures(zocam::Recording& film, const PictureOptions& options, const PictureLayout& layout,
                 TimeRange range)
      : film_(film), options_(options), layout_(layout), range_(range) {}

  // To be called once with a frame that has been decoded, before the first one is rendered. Takes
  // as long as a scan of the recording.
  void Prepare(const zocam::Frame& frame);
  Picture Render(const zocam::Frame& frame) const { return RenderPicture(frame, options_); }
  // A rendered picture as it is shown, enlarged and with its scale. Any thread.
  Picture Compose(const Picture& picture) const { return layout_.Compose(picture, bar_); }

 private:
  void MakeGain() const;
  ColourScale ScaleOf(const zocam::Frame& frame) const;

  zocam::Recording& film_;
  const PictureOptions& options_;
  const PictureLayout& layout_;
  const TimeRange range_;
  Picture bar_;
};

#endif
