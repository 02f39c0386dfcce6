#include "tools/measurement.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <utility>

#include "tools/advice.h"
#include "tools/camera_summary.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kLongestSilence = 5s;
constexpr auto kLongestWarmUp = 30s;

zocam::FrameCopy NextFrame(zocam::Device& device) {
  if (device.IsRecording()) {
    if (auto frame = device.NextFrame(0s)) return std::move(*frame);
    throw ToolError(device.Label() + " ends before enough frames with temperatures were found");
  }
  if (auto frame = device.NextFrame(kLongestSilence)) return std::move(*frame);
  throw ToolError(device.Label() + ": no frame came for " +
                  std::to_string(kLongestSilence.count()) +
                  " s; unplug the camera and plug it in again");
}

// The next frame that has temperatures, and these.
zocam::FrameCopy NextDecodableFrame(zocam::Device& device, DecodeOptions& decoding,
                                    zocam::TemperatureImage& image) {
  const Clock::time_point deadline = Clock::now() + kLongestWarmUp;
  for (bool told = false;;) {
    zocam::FrameCopy frame = NextFrame(device);
    decoding.FollowResolution(device, frame);
    if (DecodeTemperatures(frame, image)) return frame;
    RequireOwnModel(frame, device);
    if (!device.IsRecording() && Clock::now() >= deadline)
      throw ToolError(device.Label() + ": no temperatures within " +
                      std::to_string(kLongestWarmUp.count()) +
                      " s: its frames cannot be decoded, most likely because it has not made its "
                      "first flat-field correction");
    if (device.IsRecording()) continue;
    if (!told)
      std::fprintf(stderr, "%s: waiting for the camera's first flat-field correction\n",
                   device.Label().c_str());
    told = true;
  }
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
  explicit ShowWordsAsTheyAre(zocam::Device& device) : device_(device), settings_(SettingsOf()) {
    // Raw words are never subtracted from. While it learns reflections, the library leaves out the
    // correction that is installed, and keeps it.
    device_.StartReflectionLearning();
    Set({true, false, false, false, false});
  }
  ~ShowWordsAsTheyAre() {
    Set(settings_);
    uint16_t* learnt = nullptr;
    uint32_t size = 0;
    ZoLib_ReflectCorrGenStop(device_.Handle(), &learnt, &size);
    ZoLib_ReflectCorrDataRelease(learnt);
  }
  ShowWordsAsTheyAre(const ShowWordsAsTheyAre&) = delete;
  ShowWordsAsTheyAre& operator=(const ShowWordsAsTheyAre&) = delete;

 private:
  struct Settings {
    bool byRaw, circumference, undistortion, noiseFilter, upsideDown;
  };
  Settings SettingsOf() const {
    return {device_.ColorizeByRaw(), device_.CircumferenceCorrection(), device_.Undistortion(),
            device_.NoiseFilter(), device_.UpsideDown()};
  }
  void Set(const Settings& settings) {
    ZoLib_SetColorizeByRaw(device_.Handle(), settings.byRaw);
    device_.SetCircumferenceCorrection(settings.circumference);
    device_.SetUndistortion(settings.undistortion);
    device_.SetNoiseFilter(settings.noiseFilter);
    device_.SetUpsideDown(settings.upsideDown);
  }

  zocam::Device& device_;
  const Settings settings_;
};

}  // namespace

bool DecodeTemperatures(const zocam::Frame& frame, zocam::TemperatureImage& image) {
  image.width = frame.Width();
  image.height = frame.Height();
  image.values.resize(size_t{image.width} * image.height);
  try {
    image.resolution = frame.Temperatures(image.values);
    return true;
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE) throw;
    return false;
  }
}

void RequireOwnModel(const zocam::Frame& frame, const zocam::Device& device) {
  if (frame.Check() == ZO_STATUS_INVALID_STATE)
    throw ToolError(device.Label() + ": its frames are not those of a camera of model " +
                    ProductText(device.ProductId()) + " (another telemetry revision)");
}

void ForEachDecodedFrame(zocam::Device& device, DecodeOptions& decoding, uint32_t count,
                         const DecodedFrame& take) {
  zocam::TemperatureImage image;
  if (!device.IsRecording()) device.StartQueue(count);
  for (uint32_t taken = 0; taken < count; ++taken) {
    const zocam::FrameCopy frame = NextDecodableFrame(device, decoding, image);
    take(frame, image);
  }
  device.Stop();
}

Measurement Measure(zocam::Device& device, DecodeOptions& decoding, uint32_t count) {
  Measurement measurement;
  measurement.quantity = QuantityOf(device);
  std::vector<uint64_t> sums;
  ForEachDecodedFrame(device, decoding, count,
                      [&](const zocam::Frame& frame, const zocam::TemperatureImage& image) {
                        measurement.raw.assign(frame.Bytes().begin(), frame.Bytes().end());
                        measurement.image = image;
                        measurement.stamp = frame.Stamp();
                        sums.resize(image.values.size());
                        for (size_t i = 0; i < sums.size(); ++i) sums[i] += image.values[i];
                      });
  if (count == 1) return measurement;
  for (size_t i = 0; i < sums.size(); ++i)
    measurement.image.values[i] = static_cast<uint16_t>((sums[i] + count / 2) / count);
  StoreImageWords(measurement.raw, measurement.image.values);
  measurement.isMadeUp = true;
  return measurement;
}

Measurement MeasurementOf(zocam::TemperatureImage image, const zocam::Frame& frame,
                          Quantity quantity) {
  Measurement measurement;
  measurement.quantity = quantity;
  measurement.raw.assign(frame.Bytes().begin(), frame.Bytes().end());
  StoreImageWords(measurement.raw, image.values);
  measurement.image = std::move(image);
  measurement.isMadeUp = true;
  return measurement;
}

RenderedMeasurement RenderMeasurement(const Measurement& measurement, zocam::Device& device,
                                      const PictureOptions& options) {
  std::optional<ShowWordsAsTheyAre> asTheyAre;
  if (measurement.isMadeUp) asTheyAre.emplace(device);
  const zocam::Frame frame = device.ViewFrame(measurement.raw);
  return {RenderPicture(frame, options), frame.Render(options.GreyCode())};
}

ValueSummary Summarise(const zocam::TemperatureImage& image, Quantity quantity,
                       const zocam::Device& device) {
  const uint32_t firstColumn = ZoLib_GetRefTempRegion(device.Handle());
  uint16_t low = 0xFFFF, high = 0;
  uint64_t sum = 0;
  for (uint32_t y = 0; y < image.height; ++y) {
    const auto row = image.values.begin() + int64_t{y} * image.width;
    const auto [least, most] = std::minmax_element(row + firstColumn, row + image.width);
    low = std::min(low, *least);
    high = std::max(high, *most);
    sum = std::accumulate(row + firstColumn, row + image.width, sum);
  }
  const double mean = static_cast<double>(sum) / ((image.width - firstColumn) * image.height);
  const uint16_t centre = image.values[size_t{image.height} / 2 * image.width + image.width / 2];
  return {ValueOf(quantity, low, image.resolution), ValueOf(quantity, high, image.resolution),
          ValueOf(quantity, centre, image.resolution), ValueOf(quantity, mean, image.resolution)};
}

std::string SummaryText(const ValueSummary& summary, Quantity quantity, int decimals) {
  return "min " + ValueText(quantity, summary.minimum, decimals) + "  max " +
         ValueText(quantity, summary.maximum, decimals) + "  centre " +
         ValueText(quantity, summary.centre, decimals);
}
