// A camera node whose every answer comes from a fuzzer's input: the programs that link this are
// linked with --wrap for the system calls that reach a camera. Calls on anything else pass through.
#ifndef ZOCAM_FUZZ_SCRIPTED_CAMERA_H
#define ZOCAM_FUZZ_SCRIPTED_CAMERA_H

#include "zocam/zocam.h"

#include "fuzz/input.h"

inline constexpr int kScriptedFd = 100000;

// While one lives, /dev/video* and /sys/* are the input's, and nothing sleeps.
class ScriptedCamera {
 public:
  explicit ScriptedCamera(Input& answers);
  ~ScriptedCamera();
  ScriptedCamera(const ScriptedCamera&) = delete;
  ScriptedCamera& operator=(const ScriptedCamera&) = delete;

  // A handle that an answer may invalidate, as another thread does.
  void MayInvalidate(_ZoDev* dev) { victim_ = dev; }

  bool NodeExists();
  int Open();  // a descriptor, or -1 and errno
  int Query(uint8_t* data, std::size_t size);
  std::FILE* OpenAttribute();
  void CloseNode() { --openNodes_; }

 private:
  // 0 or an errno.
  int Outcome();

  Input& answers_;
  _ZoDev* victim_ = nullptr;
  int openNodes_ = 0;
};

#endif
