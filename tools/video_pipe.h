// Videos, made by the ffmpeg program: raw pictures go into its standard input.
#ifndef ZOCAM_TOOLS_VIDEO_PIPE_H
#define ZOCAM_TOOLS_VIDEO_PIPE_H

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "tools/picture.h"

// The program's path. Throws ToolError when none is installed.
std::string FindVideoProgram();

// One run of the program, which writes an MP4. All of it throws ToolError, with what the program
// said last, and Interruption. The program ends with it.
class VideoPipe {
 public:
  // The rate is a number or a fraction, in pictures per second.
  VideoPipe(const std::string& program, const std::string& file, uint32_t width, uint32_t height,
            const std::string& rate);
  ~VideoPipe();
  VideoPipe(const VideoPipe&) = delete;
  VideoPipe& operator=(const VideoPipe&) = delete;

  void Write(const Picture& picture);
  // Waits until the video is complete.
  void Finish();

 private:
  [[noreturn]] void FailAsToldByProgram();
  void AwaitRoom() const;
  int Wait();  // the program's wait status

  const std::string program_;
  int input_ = -1;
  int messages_ = -1;  // a file that nobody sees, with what the program said
  pid_t process_ = -1;
};

#endif
