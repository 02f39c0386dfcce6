// The pictures as a video.
#include "tools/frame_sink.h"
#include "tools/output_file.h"
#include "tools/video_pipe.h"

namespace {

class FrameVideo : public FrameSink {
 public:
  FrameVideo(const std::string& path, const std::string& rate, const SteadyPictures& pictures)
      : program_(FindVideoProgram()), rate_(rate), pictures_(pictures), file_(path) {}

  void Encode(ExportedFrame& frame) const override {
    frame.picture = pictures_.Compose(frame.picture);
  }

  void Add(const ExportedFrame& frame) override {
    const Picture& picture = frame.picture;
    // Only a picture tells its size.
    if (!pipe_) pipe_.emplace(program_, file_.OpenPath(), picture.width, picture.height, rate_);
    pipe_->Write(picture);
  }

  void Finish() override {
    pipe_->Finish();
    file_.Commit();
  }

 private:
  const std::string program_;
  const std::string rate_;
  const SteadyPictures& pictures_;
  OutputStream file_;
  std::optional<VideoPipe> pipe_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeVideo(const std::string& path, const std::string& rate,
                                     const SteadyPictures& pictures) {
  return std::make_unique<FrameVideo>(path, rate, pictures);
}
