// The temperature decoders. An image holds far fewer values than pixels, so each value is decoded
// once, into a table that the pixels then read.
#ifndef ZOCAM_SIMD_DECODERS_H
#define ZOCAM_SIMD_DECODERS_H

#include "decode/decoder_a.h"
#include "decode/decoder_b.h"
#include "decode/decoder_d.h"
#include "decode/window_correction.h"
#include "simd/extremes.h"
#include "simd/image_words.h"
#include "simd/lanes.h"
#include "simd/word_lanes.h"

namespace simd {
namespace {

constexpr std::size_t kMostTableValues = 16384;  // 32 KiB of stack

// What 16 bits keep of results that are truncated; tells of any that are too large for StoreLow16.
class Low16Writer {
 public:
  void Write(uint16_t* to, Doubles values) {
    const Doubles magnitude = values < 0.0 ? -values : values;
    tooLarge_ |= ~(magnitude < 0x1p31);
    StoreLow16(to, values);
  }
  bool WereAllWritten() const { return !AnyLane(tooLarge_); }

 private:
  DoubleMask tooLarge_ = {};
};

// Results that are known to fit.
struct FittingWriter {
  static void Write(uint16_t* to, Doubles values) { StoreLow16(to, values); }
};

// Decodes values from to to + count - 1, rounded up to whole vectors, into table.
template <class Decoder, class Writer>
void FillTable(const Decoder& decoder, Writer& writer, uint32_t from, std::size_t count,
               uint16_t* table) {
  Doubles value;
  for (std::size_t lane = 0; lane < kDoubles; ++lane) {
    value[lane] = static_cast<double>(from) + static_cast<double>(lane);
  }
  for (std::size_t i = 0; i < count; i += kDoubles) {
    writer.Write(table + i, decoder(value));
    value += static_cast<double>(kDoubles);
  }
}

// Reads a table whose first entry is that of the value low. in and out may be the same.
void LookUp(const uint16_t* table, uint32_t low, const uint16_t* in, uint16_t* out,
            std::size_t count) {
  // Reckoned as a number, because the place of value 0 lies outside the table.
  const auto origin = reinterpret_cast<uintptr_t>(table) - sizeof(uint16_t) * low;
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  const auto* entries = reinterpret_cast<const uint16_t*>(origin);
  ForEachIndex(count, [&](std::size_t k) { out[k] = entries[in[k]]; });
}

// Decodes an image whose values have these extremes; in and out may be the same. count is at least
// kDoubles.
template <class Decoder, class Writer>
void DecodeValues(const Decoder& decoder, Writer& writer, zocam::Extremes extremes,
                  const uint16_t* in, uint16_t* out, std::size_t count) {
  const std::size_t values = std::size_t{extremes.max} - extremes.min + 1;
  if (values <= count / 2 && values <= kMostTableValues) {
    uint16_t table[kMostTableValues + kDoubles];
    FillTable(decoder, writer, extremes.min, values, table);
    LookUp(table, extremes.min, in, out, count);
    return;
  }
  std::size_t k = 0;
  for (; k + kDoubles <= count; k += kDoubles) {
    writer.Write(out + k, decoder(WordsToDoubles(in + k)));
  }
  for (; k < count; ++k) {
    uint16_t result[kDoubles] = {};
    writer.Write(result, decoder(Doubles{} + static_cast<double>(in[k])));
    out[k] = result[0];
  }
}

template <class Decoder, class Writer>
void DecodeWords(const Decoder& decoder, Writer& writer, const uint8_t* words, uint16_t* out,
                 std::size_t count, bool upsideDown) {
  auto* bytes = reinterpret_cast<uint8_t*>(out);
  RunningExtremes extremes;
  const auto see = [&extremes](U16s values) { extremes.Widen(values); };
  if (upsideDown) {
    CopyWords<true>(words, bytes, count, see);
  } else {
    CopyWords<false>(words, bytes, count, see);
  }
  DecodeValues(decoder, writer, extremes.Get(), out, out, count);
}

// Decoder A

Doubles ToCentikelvin(Doubles kelvin) {
  const Doubles inRange = kelvin >= 0.0 ? kelvin : Doubles{};
  return inRange > kMaxKelvin ? Doubles{} + 65535.0 : inRange * 100.0;
}

struct StartupDecoder {
  SensorParameters p;

  Doubles operator()(Doubles x) const {
    const Doubles v = x - p[1];
    const Doubles magnitude = v < 0.0 ? -v : v;
    const Doubles s = 1.0 - 2.4425e-11 * (magnitude * magnitude * magnitude);
    const Doubles stretch = s > 0.6 ? s : Doubles{} + 0.6;
    return ToCentikelvin((v * p[2] * stretch + p[0] + p[3]) * p[4] + p[5]);
  }
};

struct SteadyDecoder {
  SensorParameters p;

  Doubles operator()(Doubles x) const {
    const Doubles s = x + p[1];
    const auto low = s < kHighCountsFrom;
    const auto select = [low](double lowValue, double highValue) {
      return low ? Doubles{} + lowValue : Doubles{} + highValue;
    };
    const Doubles square =
        (s - select(kLowCounts.o, kHighCounts.o)) * select(kLowCounts.b, kHighCounts.b) +
        select(kLowCounts.c, kHighCounts.c);
    const Doubles r = Sqrt(square > 0.0 ? square : Doubles{});
    return ToCentikelvin(((r - select(kLowCounts.e, kHighCounts.e)) *
                          (0.002635 * p[0] + 0.1909443) / select(kLowCounts.a, kHighCounts.a) *
                          0.9915) *
                             p[4] +
                         p[5]);
  }
};

void ConvertCounts(const SensorModel& model, std::span<const uint8_t> counts,
                   std::span<uint16_t> out, bool upsideDown) {
  if (out.size() < kWords) return scalar::ConvertCounts(model, counts, out, upsideDown);
  FittingWriter writer;
  if (model.startup) {
    DecodeWords(StartupDecoder{model.parameters}, writer, counts.data(), out.data(), out.size(),
                upsideDown);
  } else {
    DecodeWords(SteadyDecoder{model.parameters}, writer, counts.data(), out.data(), out.size(),
                upsideDown);
  }
}

// Window correction

Doubles CorrectWindow(const WindowFit& fit, Doubles x) {
  const Doubles hot = fit.hotSlope * x + fit.hotOffset;
  const Doubles cold = fit.coldSquare * (x * x) + fit.coldSlope * x + fit.coldOffset;
  const Doubles w = (x - kHotFrom + kBlendWidth) / kBlendWidth;
  const Doubles blend = hot * w + cold * (1.0 - w);
  return x >= kHotFrom ? hot : x < kHotFrom - kBlendWidth ? cold : blend;
}

struct CountsWindow {
  WindowFit fit;

  Doubles operator()(Doubles x) const { return CorrectWindow(fit, x / 100.0) * 100.0; }
};

void CorrectWindowOfCounts(std::span<const uint16_t> image, std::span<uint16_t> out,
                           double sensorKelvin) {
  const std::size_t count = image.size();
  if (count >= kWords) {
    RunningExtremes extremes;
    extremes.Widen(image.data(), count);
    Low16Writer writer;
    DecodeValues(CountsWindow{WindowFit(sensorKelvin)}, writer, extremes.Get(), image.data(),
                 out.data(), count);
    if (writer.WereAllWritten()) return;
  }
  scalar::CorrectWindowOfCounts(image, out, sensorKelvin);
}

struct TemperaturesWindow {
  WindowFit fit;
  double resolution;
  double offset;

  Doubles operator()(Doubles x) const {
    return (CorrectWindow(fit, x / resolution) + offset) * resolution;
  }
};

void CorrectWindowOfTemperatures(std::span<const uint8_t> words, std::span<uint16_t> out,
                                 bool upsideDown, int32_t resolution, double sensorKelvin,
                                 double offset) {
  if (out.size() >= kWords) {
    Low16Writer writer;
    DecodeWords(
        TemperaturesWindow{WindowFit(sensorKelvin), static_cast<double>(resolution), offset},
        writer, words.data(), out.data(), out.size(), upsideDown);
    if (writer.WereAllWritten()) return;
  }
  scalar::CorrectWindowOfTemperatures(words, out, upsideDown, resolution, sensorKelvin, offset);
}

// Decoder D

struct DriftDecoder {
  DriftCorrection correction;
  double resolution;

  Doubles operator()(Doubles x) const {
    const auto& [reference, offset, scale, stretchCold] = correction;
    const Doubles t = x / resolution;
    const Doubles plain = (t + offset) * scale;
    const Doubles hot = t < 370.0 ? (t + offset * (370.0 - t) / 50.0) * scale : t * scale;
    const Doubles stretched = (plain - reference) * 1.25 + reference;
    const DoubleMask isCold = stretchCold ? plain < reference : DoubleMask{};
    const Doubles v = isCold ? stretched : t > 320.0 ? hot : plain;
    const Doubles units = (v >= 0.0 ? v : Doubles{}) * resolution;
    return units < 65536.0 ? units : Doubles{} + 65535.0;
  }
};

void CorrectDrifts(std::span<const uint8_t> words, std::span<uint16_t> out, bool upsideDown,
                   const DriftCorrection& correction, int32_t resolution) {
  if (out.size() < kWords) {
    return scalar::CorrectDrifts(words, out, upsideDown, correction, resolution);
  }
  FittingWriter writer;
  DecodeWords(DriftDecoder{correction, static_cast<double>(resolution)}, writer, words.data(),
              out.data(), out.size(), upsideDown);
}

}  // namespace
}  // namespace simd

#endif
