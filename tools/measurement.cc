#include "tools/measurement.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tools/advice.h"
#include "tools/camera_summary.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLongestSilence = 5s;
constexpr auto kLongestWarmUp = 30s;

zocam::FrameCopy NextFrame(Source& source) {
  if (auto frame = source.device.NextFrame(kLongestSilence)) return std::move(*frame);
  throw ToolError(source.place + ": no frame came for " + std::to_string(kLongestSilence.count()) +
                  " s; unplug the camera and plug it in again");
}

void RequireOwnModel(const zocam::Frame& frame, const Source& source) {
  if (frame.Check() == ZO_STATUS_INVALID_STATE)
    throw ToolError(source.place + ": its frames are not those of a camera of model " +
                    ProductText(source.device.ProductId()) + " (another telemetry revision)");
}

// False when the frame has no temperatures yet.
bool DecodeTemperatures(const zocam::Frame& frame, zocam::TemperatureImage& image) {
  try {
    image = frame.Temperatures();
    return true;
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE) throw;
    return false;
  }
}

// The next frame that has temperatures, and these.
zocam::FrameCopy NextDecodableFrame(Source& source, zocam::TemperatureImage& image) {
  const Clock::time_point deadline = Clock::now() + kLongestWarmUp;
  zocam::FrameCopy frame = NextFrame(source);
  for (bool told = false; !DecodeTemperatures(frame, image); frame = NextFrame(source)) {
    RequireOwnModel(frame, source);
    if (Clock::now() >= deadline)
      throw ToolError(source.place + ": no temperatures within " +
                      std::to_string(kLongestWarmUp.count()) +
                      " s: its frames cannot be decoded, most likely because it has not made its "
                      "first flat-field correction");
    if (!told)
      std::fprintf(stderr, "%s: waiting for the camera's first flat-field correction\n",
                   source.place.c_str());
    told = true;
  }
  return frame;
}

void StoreImageWords(std::vector<uint8_t>& raw, const std::vector<uint16_t>& words) {
  for (size_t i = 0; i < words.size(); ++i) {
    raw[2 * i] = static_cast<uint8_t>(words[i] >> 8);
    raw[2 * i + 1] = static_cast<uint8_t>(words[i] & 0xFF);
  }
}

// While it lives, the library shows a frame's words as they are: the mean of decoded images has all
// corrections in it and must not get them a second time.
class ShowWordsAsTheyAre {
 public:
  explicit ShowWordsAsTheyAre(zocam::Device& device)
      : device_(device),
        colorizeByRaw_(device.ColorizeByRaw()),
        circumference_(device.CircumferenceCorrection()),
        undistortion_(device.Undistortion()),
        noiseFilter_(device.NoiseFilter()),
        upsideDown_(device.UpsideDown()) {
    Set(true, false, false, false, false);
  }
  ~ShowWordsAsTheyAre() {
    Set(colorizeByRaw_, circumference_, undistortion_, noiseFilter_, upsideDown_);
  }
  ShowWordsAsTheyAre(const ShowWordsAsTheyAre&) = delete;
  ShowWordsAsTheyAre& operator=(const ShowWordsAsTheyAre&) = delete;

 private:
  void Set(bool byRaw, bool circumference, bool undistortion, bool noiseFilter, bool upsideDown) {
    ZoLib_SetColorizeByRaw(device_.Handle(), byRaw);
    device_.SetCircumferenceCorrection(circumference);
    device_.SetUndistortion(undistortion);
    device_.SetNoiseFilter(noiseFilter);
    device_.SetUpsideDown(upsideDown);
  }

  zocam::Device& device_;
  bool colorizeByRaw_, circumference_, undistortion_, noiseFilter_, upsideDown_;
};

}  // namespace

Measurement Measure(Source& source, uint32_t count) {
  Measurement measurement;
  std::vector<uint64_t> sums;
  source.device.StartQueue(count);
  for (uint32_t taken = 0; taken < count; ++taken) {
    const zocam::FrameCopy frame = NextDecodableFrame(source, measurement.image);
    measurement.raw.assign(frame.Bytes().begin(), frame.Bytes().end());
    const std::vector<uint16_t>& values = measurement.image.values;
    sums.resize(values.size());
    for (size_t i = 0; i < sums.size(); ++i) sums[i] += values[i];
  }
  source.device.Stop();
  if (count == 1) return measurement;
  for (size_t i = 0; i < sums.size(); ++i)
    measurement.image.values[i] = static_cast<uint16_t>((sums[i] + count / 2) / count);
  StoreImageWords(measurement.raw, measurement.image.values);
  measurement.isMean = true;
  return measurement;
}

RenderedMeasurement RenderMeasurement(const Measurement& measurement, Source& source,
                                      const PictureOptions& options) {
  std::optional<ShowWordsAsTheyAre> asTheyAre;
  if (measurement.isMean) asTheyAre.emplace(source.device);
  const zocam::Frame frame = source.device.ViewFrame(measurement.raw);
  return {RenderPicture(frame, options), frame.Render(options.GreyCode())};
}

TemperatureSummary Summarise(const zocam::TemperatureImage& image, const zocam::Device& device) {
  const uint32_t firstColumn = ZoLib_GetRefTempRegion(device.Handle());
  uint16_t low = 0xFFFF, high = 0;
  for (uint32_t y = 0; y < image.height; ++y) {
    const auto row = image.values.begin() + int64_t{y} * image.width;
    const auto [least, most] = std::minmax_element(row + firstColumn, row + image.width);
    low = std::min(low, *least);
    high = std::max(high, *most);
  }
  return {zocam::Celsius(low, image.resolution), zocam::Celsius(high, image.resolution),
          image.Celsius(size_t{image.height} / 2 * image.width + image.width / 2)};
}
