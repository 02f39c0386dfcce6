// Every faster form of a stage against the scalar one: the same bits, nothing beside the output.
// Input: stage, size, parameters, content.
#include <functional>
#include <memory>

#include "core/byte_order.h"
#include "fuzz/input.h"
#include "simd/stage_table.h"

namespace {

constexpr uint32_t kMostWidth = 200;
constexpr uint32_t kMostHeight = 24;
constexpr uint8_t kUntouched = 0xA5;

using Values = std::vector<uint16_t>;

struct Size {
  uint32_t width;
  uint32_t height;
  std::size_t count() const { return std::size_t{width} * height; }
};

Size TakeSize(Input& input) {
  const uint32_t width = input.Byte() % kMostWidth + 1;
  return {width, input.Byte() % kMostHeight + 1};
}

// Few values or many, from a place on; the input's own bytes stand among them.
Values TakeImage(Input& input, std::size_t count) {
  Values image(count);
  const uint32_t low = input.Word();
  const uint32_t spread = uint32_t{1} << input.Byte() % 17;
  uint32_t state = input.Take<uint32_t>();
  for (uint16_t& value : image) {
    state = state * 1664525 + 1013904223;
    value = static_cast<uint16_t>(low + (state >> 12) % spread);
  }
  for (uint32_t outliers = input.Byte() % 8; outliers != 0; --outliers) {
    const std::size_t place = input.Word() % count;
    image[place] = input.Word();
  }
  return image;
}

Bytes TakeWords(Input& input, std::size_t count) {
  const Values image = TakeImage(input, count);
  Bytes words(count * 2);
  for (std::size_t i = 0; i < count; ++i) WriteBe16(&words[2 * i], image[i]);
  return words;
}

double TakeDouble(Input& input, double low, double high) {
  return low + (high - low) * input.Take<uint32_t>() / 4294967295.0;
}

// Telemetry of any frame.
Footer TakeFooter(Input& input, Bytes& bytes) {
  bytes.assign(640, 0);
  constexpr uint16_t kPlaces[] = {2, 4, 48, 52, 58, 60, 62, 64, 330, 416};
  for (const uint16_t place : kPlaces) WriteBe16(&bytes[place], input.Word());
  if (input.Flag()) WriteBe16(&bytes[4], 0), WriteBe16(&bytes[62], 0);  // the first minute
  return Footer(bytes.data());
}

// Runs a stage at every level into memory of exactly its output, which holds first at the start.
template <class T>
void CompareAfter(const std::vector<T>& first,
                  const std::function<void(const StageTable&, std::span<T>)>& run) {
  std::vector<T> expected;
  for (const SimdLevel level : {SimdLevel::kScalar, SimdLevel::kBaseline, SimdLevel::kAvx2}) {
    const StageTable* stages = StagesOf(level);
    if (stages == nullptr) continue;
    const auto out = std::make_unique<T[]>(first.size());
    std::ranges::copy(first, out.get());
    run(*stages, {out.get(), first.size()});
    const std::vector<T> written(out.get(), out.get() + first.size());
    if (level == SimdLevel::kScalar) expected = written;
    Expect(std::memcmp(written.data(), expected.data(), written.size() * sizeof(T)) == 0,
           "every level writes the same bits");
  }
}

template <class T>
void Compare(std::size_t count, const std::function<void(const StageTable&, std::span<T>)>& run) {
  std::vector<T> first(count);
  std::memset(first.data(), kUntouched, count * sizeof(T));
  CompareAfter<T>(first, run);
}

void CopyWords(Input& input) {
  const Bytes words = TakeWords(input, TakeSize(input).count());
  const bool upsideDown = input.Flag();
  Compare<uint8_t>(words.size(), [&](auto& stages, auto out) {
    stages.copyImageWords(words, out.data(), upsideDown);
  });
}

void Circumference(Input& input) {
  const Size size = TakeSize(input);
  const Bytes words = TakeWords(input, size.count());
  std::vector<double> table(size.count());
  FillCircumferenceTable(table, size.width, size.height);
  Bytes bytes;
  double factor = 0;
  if (input.Flag()) {
    const Footer footer = TakeFooter(input, bytes);
    const uint8_t revision = input.Flag() ? 9 : 14;
    factor = CircumferenceFactor(footer, revision, input.Byte() & 1);
  } else {
    factor = TakeDouble(input, -1e4, 1e4);
  }
  Compare<uint8_t>(words.size(), [&](auto& stages, auto out) {
    stages.correctCircumference(words, table, size.width, factor, out);
  });
}

void Counts(Input& input) {
  const Bytes words = TakeWords(input, TakeSize(input).count());
  Bytes bytes;
  const Footer footer = TakeFooter(input, bytes);
  const SensorModel model(SensorTelemetry(footer, input.Flag() ? 9 : 10));
  const bool upsideDown = input.Flag();
  Compare<uint16_t>(words.size() / 2, [&](auto& stages, auto out) {
    stages.convertCounts(model, words, out, upsideDown);
  });
}

void Windows(Input& input) {
  const Size size = TakeSize(input);
  const Values image = TakeImage(input, size.count());
  Bytes words(size.count() * 2);
  std::memcpy(words.data(), image.data(), words.size());
  const double sensor = input.Flag() ? TakeDouble(input, 270, 330) : TakeDouble(input, -20, 656);
  const int32_t resolution = input.Flag() ? 100 : 10;
  const double offset = input.Flag() ? -14.0 : 0.0;
  const bool upsideDown = input.Flag();
  Compare<uint16_t>(image.size(), [&](auto& stages, auto out) {
    stages.correctWindowOfCounts(image, out, sensor);
  });
  Compare<uint16_t>(image.size(), [&](auto& stages, auto out) {
    stages.correctWindowOfTemperatures(words, out, upsideDown, resolution, sensor, offset);
  });
}

void Drifts(Input& input) {
  const Bytes words = TakeWords(input, TakeSize(input).count());
  const int32_t resolution = input.Flag() ? 100 : 10;
  Bytes bytes;
  const Footer footer = TakeFooter(input, bytes);
  RefAverages averages;
  for (MovingAvg& average : averages.sensor) average.Init(3);
  for (MovingAvg& average : averages.measured) average.Init(3);
  bool captured = input.Flag();
  double baseline = input.Flag() ? TakeDouble(input, 0, 656) : 0.0;
  DriftCorrection correction{};
  for (uint32_t frames = input.Byte() % 4 + 1; frames != 0; --frames) {
    ReferenceReadings readings{};
    for (std::size_t i = 0; i < kRefPointCount; ++i) {
      readings.sensor[i] = RefSensorKelvin(input.Word());
      readings.measured[i] = static_cast<double>(input.Word()) / resolution;
    }
    correction = FollowDrift(footer, readings, {averages, captured, baseline});
  }
  const bool upsideDown = input.Flag();
  Compare<uint16_t>(words.size() / 2, [&](auto& stages, auto out) {
    stages.correctDrifts(words, out, upsideDown, correction, resolution);
  });
}

// Through its class, which makes the table; the level is forced.
void Lens(Input& input) {
  const Size size = TakeSize(input);
  const Values image = TakeImage(input, size.count());
  const double strength = input.Flag() ? 0.6 : TakeDouble(input, 0, size.width);
  Undistortion lens;
  Expect(lens.Setup(size.width, size.height, strength) == 0, "a strength up to the width is taken");
  Values expected;
  for (const int32_t level : {0, 1, 2}) {
    if (ZoLib_Priv_ForceSimdLevel(level) != ZO_STATUS_OK) continue;
    Values out(image.size());
    lens.Transform(out.data(), image.data());
    if (level == 0) expected = out;
    Expect(out == expected, "every level resamples alike");
  }
}

void Noise(Input& input) {
  const Size size = TakeSize(input);
  const Values image = TakeImage(input, size.count());
  const auto threshold = static_cast<int32_t>(input.Between(0, 300));
  Compare<uint16_t>(image.size(), [&](auto& stages, auto out) {
    stages.filterNoise(image, out, size.width, size.height, threshold);
  });
}

void Sums(Input& input) {
  const std::size_t count = TakeSize(input).count();
  const Values image = TakeImage(input, count);
  const Values other = TakeImage(input, count);
  const int32_t resolution = input.Flag() ? 100 : 10;
  CompareAfter<uint16_t>(image, [&](auto& s, auto out) { s.applyCorrections(out, other); });
  CompareAfter<uint16_t>(image, [&](auto& s, auto out) { s.subtractReference(out, other); });
  const std::vector<double> sums(count, TakeDouble(input, 0, 1e6));
  CompareAfter<double>(sums,
                       [&](auto& s, auto out) { s.accumulateKelvin(out, image, resolution); });
}

void Statistics(Input& input) {
  const Size size = TakeSize(input);
  const Values image = TakeImage(input, size.count());
  std::vector<uint32_t> weights(input.Flag() ? size.count() : 0);
  const uint32_t every = input.Byte() + 1U;
  for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = i % every == 0 ? every : 0;
  const zocam::CountedPixels counted{weights, size.width, input.Byte() % (size.width + 2)};
  zocam::Extremes before;
  if (input.Flag()) before = {input.Word(), input.Word()};
  CompareAfter<zocam::Extremes>(
      {before}, [&](auto& stages, auto out) { stages.widenExtremes(image, counted, out[0]); });
  zocam::Extremes extremes = before;
  zocam::scalar::WidenExtremes(image, counted, extremes);
  const uint16_t low = input.Flag() ? input.Word() : 0;
  const uint16_t high = input.Flag() ? input.Word() : 0xFFFF;
  const auto range = zocam::WholeBlocks(zocam::Clamp(extremes, low, high));
  CompareAfter<uint64_t>(std::vector<uint64_t>(zocam::kGainBins, input.Byte()),
                         [&](auto& stages, auto out) {
                           zocam::BinCounts counts{};
                           std::ranges::copy(out, counts.begin());
                           stages.countBins(image, counted, range, counts);
                           std::ranges::copy(counts, out.begin());
                         });
}

void Gains(Input& input) {
  const Values image = TakeImage(input, TakeSize(input).count());
  const zocam::ManualRange manual{input.Take<int32_t>(), input.Take<int32_t>()};
  const uint32_t steps = input.Flag() ? 255 : 1024;
  Compare<uint16_t>(image.size(),
                    [&](auto& s, auto out) { s.mapManual(image, manual, steps, out); });
  const zocam::Extremes extremes{input.Word(), input.Word()};
  Compare<uint16_t>(image.size(), [&](auto& s, auto out) { s.mapLinear(image, extremes, out); });

  zocam::BinCounts counts{};
  for (uint64_t& count : counts) count = input.Byte();
  const auto segments = zocam::BuildSegments(counts);
  if (!segments) return;
  zocam::BinRange range = zocam::WholeBlocks({input.Word(), input.Word()});
  if (input.Flag()) {  // of a recording
    const uint32_t low = input.Between(0, 65535 - zocam::kGainBins);
    const uint32_t high = input.Between(low + zocam::kGainBins, 65535);
    range = {low, high, high - low};
  }
  Compare<uint16_t>(image.size(),
                    [&](auto& s, auto out) { s.mapSegments(image, range, *segments, out); });
}

void Painters(Input& input) {
  Values levels = TakeImage(input, TakeSize(input).count());
  for (uint16_t& level : levels) level %= zocam::kDisplayLevels;
  constexpr zocam::Colours kColours[] = {zocam::Colours::kGrey, zocam::Colours::kIron,
                                         zocam::Colours::kRainbow};
  const zocam::Palette& palette = zocam::PaletteFor(
      input.OneOf(kColours), input.Flag() ? zocam::Gain::kManual : zocam::Gain::kLinear);
  constexpr zocam::PixelLayout kLayouts[] = {zocam::PixelLayout::kGray8, zocam::PixelLayout::kRgb24,
                                             zocam::PixelLayout::kRgb32,
                                             zocam::PixelLayout::kRgb565};
  const zocam::PixelLayout layout = input.OneOf(kLayouts);
  const bool blueFirst = input.Flag();
  Compare<uint8_t>(levels.size() * zocam::BytesPerPixel(layout), [&](auto& stages, auto out) {
    stages.painters->For(layout, blueFirst)(levels, palette, out.data());
  });
}

void Magnifier(Input& input) {
  const Size size = TakeSize(input);
  const uint32_t bytesPerPixel = input.Flag() ? 3 : 4;
  const uint32_t margin = input.Byte() % size.width;
  const Values content = TakeImage(input, size.count() * 2);
  Bytes pixels(size.count() * bytesPerPixel);
  std::memcpy(pixels.data(), content.data(), pixels.size());
  const zocam::ColourImage image{pixels.data(), size.width, size.height, bytesPerPixel, margin};
  Compare<uint8_t>(std::size_t{size.width - margin} * size.height * 9 * bytesPerPixel,
                   [&](auto& stages, auto out) { stages.magnify3(image, out.data()); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  constexpr void (*kStages[])(Input&) = {CopyWords,  Circumference, Counts,   Windows,
                                         Drifts,     Lens,          Noise,    Sums,
                                         Statistics, Gains,         Painters, Magnifier};
  Input input(data, size);
  input.OneOf(kStages)(input);
  return 0;
}
