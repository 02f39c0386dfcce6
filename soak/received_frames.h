// What one live stream's callback saw, in order.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "sim/model/frame_stamp.h"
#include "soak/shared_state.h"

namespace soak {

// What decides about temperatures, set alike on the live handle and on the quiet one.
struct DecodeSettings {
  bool noiseFilter = true;
  bool undistortion = false;
  bool circumference = false;
  bool upsideDown = false;
  bool window = false;  // averages over frames: the same only from the first frame on

  static DecodeSettings Random(Dice& dice);
  void Apply(_ZoDev* dev) const;
};

struct ReceivedFrame {
  zosim::FrameStamp stamp;
  uint64_t temperatures = 0;  // hash of the decoded image
};

uint64_t HashOf(const std::vector<uint16_t>& image);

class ReceivedFrames {
 public:
  ReceivedFrames(SharedState& shared, Camera& camera, Dice& dice);

  // A ZoFrameCallback; the user pointer is the object.
  static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user);

  // After the stream has ended: accounts for every frame that the camera made since construction.
  void Account();

  // Of an ended stream.
  const std::vector<ReceivedFrame>& frames() const { return frames_; }

 private:
  void Take(_ZoDev* dev, uint8_t* frame, uint64_t length);

  SharedState& shared_;
  Camera& camera_;
  Dice dice_;
  const int slowMs_;
  const uint64_t firstNumber_;
  const uint64_t deliveredBefore_;
  const uint64_t lostBefore_;
  std::vector<ReceivedFrame> frames_;
  std::vector<uint16_t> image_;
  std::vector<uint8_t> picture_;
};

}  // namespace soak
