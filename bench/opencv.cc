// The same work with the usual means of OpenCV, on one thread. Results are alike, not equal: its
// rounding differs, its remap works in fixed point, its noise filter is the bilateral one, and its
// palettes have 256 colours. Every output exists before the measurement begins.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/benchmarks.h"
#include "bench/views.h"
#include "decode/circumference.h"
#include "render/palettes.h"

namespace {

constexpr double kNoiseThreshold = 50;
constexpr double kZeroCelsius = 27315;

cv::Mat PaletteOf256() {
  cv::Mat palette(256, 1, CV_8UC3);
  for (int i = 0; i < 256; ++i) {
    const uint32_t colour = zocam::g_colTabIron[static_cast<std::size_t>(4 * i)];
    palette.at<cv::Vec3b>(i) = {static_cast<uint8_t>(colour & 0xFF),
                                static_cast<uint8_t>(colour >> 8 & 0xFF),
                                static_cast<uint8_t>(colour >> 16 & 0xFF)};
  }
  return palette;
}

struct Work {
  cv::Size size;
  std::vector<Bytes> wordBytes;
  std::vector<cv::Mat> frames;  // big-endian words
  std::vector<cv::Mat> images;  // temperatures
  std::size_t turn = 0;
  cv::Mat words, image;  // of the frame whose turn it is
  cv::Mat swapped, image32, filtered32, undistorted, out, eight, equalized, colours, large;
  cv::Mat x, low, high, belowHigh;
  cv::Mat sums, circumference, reference, corrections;
  cv::Mat map, mapFractions, palette = PaletteOf256(), histogram;
  double coldest = 0;
  double warmest = 0;

  explicit Work(Size imageSize)
      : size(static_cast<int>(imageSize.width), static_cast<int>(imageSize.height)),
        swapped(size, CV_8UC2),
        sums(cv::Mat::zeros(size, CV_64F)),
        circumference(size, CV_64F),
        reference(size, CV_16U, cv::Scalar(kZeroCelsius)),
        corrections(cv::Mat::zeros(size, CV_16U)) {
    FillCircumferenceTable({circumference.ptr<double>(), circumference.total()}, imageSize.width,
                           imageSize.height);
    FillMaps();
    for (uint32_t k = 0; k < FrameCount(imageSize); ++k) {
      wordBytes.push_back(BigEndianWords(ViewInCounts(imageSize, k)));
      frames.emplace_back(size, CV_8UC2, wordBytes.back().data());
      words = frames.back();
      Convert();
      images.push_back(out.clone());
    }
    // Once around, so that all exists.
    TakeNextFrame();
    Remap();
    FilterNoise(image);
    LinearGain(image);
    Colour(eight);
    Magnify();
  }

  void TakeNextFrame() {
    words = frames[turn % frames.size()];
    image = images[turn % images.size()];
    ++turn;
  }

  // A lens that compresses the border as the cameras' do.
  void FillMaps() {
    cv::Mat mapX(size, CV_32F);
    cv::Mat mapY(size, CV_32F);
    const double radius = size.width / 0.7;
    for (int row = 0; row < size.height; ++row) {
      for (int column = 0; column < size.width; ++column) {
        const double dx = column - 0.5 * size.width;
        const double dy = row - 0.5 * size.height;
        const double scale = radius / std::sqrt(dx * dx + dy * dy + radius * radius);
        mapX.at<float>(row, column) = static_cast<float>(dx * scale + 0.5 * size.width);
        mapY.at<float>(row, column) = static_cast<float>(dy * scale + 0.5 * size.height);
      }
    }
    cv::convertMaps(mapX, mapY, map, mapFractions, CV_16SC2);
  }
  void Swap() { cv::mixChannels({words}, {swapped}, {0, 1, 1, 0}); }
  cv::Mat SwappedWords() { return {size, CV_16U, swapped.data}; }
  // Decoder A's steady formula: two square-root branches.
  void Convert() {
    constexpr double kFrom = 7327.0;
    constexpr double kScale = 0.99;
    Swap();
    SwappedWords().convertTo(x, CV_64F, 1.0, 20.0);
    Branch(low, 0.7519484, 7005.28 - 16221.82 * 0.7519484, 83.69756, kScale / 0.3759742);
    Branch(high, 0.5546228, 3153.4 - 12381.07 * 0.5546228, 56.15512, kScale / 0.2773114);
    cv::compare(x, kFrom, belowHigh, cv::CMP_LT);
    low.copyTo(high, belowHigh);
    high.convertTo(out, CV_16U, 100.0);
  }
  void Branch(cv::Mat& branch, double b, double c, double e, double factor) {
    x.convertTo(branch, CV_64F, b, c);
    cv::max(branch, 0.0, branch);
    cv::sqrt(branch, branch);
    branch.convertTo(branch, CV_64F, factor, e * factor);
  }
  void CorrectCircumference() {
    Swap();
    SwappedWords().convertTo(x, CV_64F);
    cv::scaleAdd(circumference, 2.5, x, x);
    x.convertTo(out, CV_16U);
  }
  void Remap() { cv::remap(image, undistorted, map, mapFractions, cv::INTER_LINEAR); }
  void FilterNoise(const cv::Mat& from) {
    from.convertTo(image32, CV_32F);
    cv::bilateralFilter(image32, filtered32, 3, kNoiseThreshold, 2.0);
    filtered32.convertTo(out, CV_16U);
  }
  void FindExtremes(const cv::Mat& from) { cv::minMaxLoc(from, &coldest, &warmest); }
  void Levels(const cv::Mat& from) {
    const double scale = 255.0 / std::max(1.0, warmest - coldest);
    from.convertTo(eight, CV_8U, scale, -coldest * scale);
  }
  void LinearGain(const cv::Mat& from) {
    FindExtremes(from);
    Levels(from);
  }
  void NonLinearGain(const cv::Mat& from) {
    LinearGain(from);
    cv::equalizeHist(eight, equalized);
  }
  void CountBins() {
    const int channel = 0;
    const int bins = 32;
    const float limits[] = {28672.0F, 32768.0F};
    const float* range = limits;
    cv::calcHist(&image, 1, &channel, cv::noArray(), histogram, 1, &bins, &range);
  }
  void Colour(const cv::Mat& levels) { cv::applyColorMap(levels, colours, palette); }
  void Magnify() { cv::resize(colours, large, {}, 3, 3, cv::INTER_LINEAR); }
  void CorrectedImage() {
    Convert();
    cv::remap(out, undistorted, map, mapFractions, cv::INTER_LINEAR);
    FilterNoise(undistorted);
  }
};

struct Case {
  const char* kind;
  const char* name;
  void (*run)(Work& w);
};

constexpr Case kCases[] = {
    {"stage", "byte swap", [](Work& w) { w.Swap(); }},
    {"stage", "circumference correction", [](Work& w) { w.CorrectCircumference(); }},
    {"stage", "counts to kelvin, steady", [](Work& w) { w.Convert(); }},
    {"stage", "undistortion", [](Work& w) { w.Remap(); }},
    {"stage", "noise filter", [](Work& w) { w.FilterNoise(w.image); }},
    {"stage", "reflections: learning", [](Work& w) { cv::accumulate(w.image, w.sums); }},
    {"stage", "reflections: correction", [](Work& w) { cv::add(w.image, w.corrections, w.image); }},
    {"stage", "subtraction",
     [](Work& w) { cv::addWeighted(w.image, 1, w.reference, -1, kZeroCelsius, w.image); }},
    {"stage", "extremes", [](Work& w) { w.FindExtremes(w.image); }},
    {"stage", "bins", [](Work& w) { w.CountBins(); }},
    {"stage", "levels, linear", [](Work& w) { w.Levels(w.image); }},
    {"stage", "linear gain, whole", [](Work& w) { w.LinearGain(w.image); }},
    {"stage", "non-linear gain, whole", [](Work& w) { w.NonLinearGain(w.image); }},
    {"stage", "paint BGR 24 bit", [](Work& w) { w.Colour(w.eight); }},
    {"stage", "magnifier, 24 bit", [](Work& w) { w.Magnify(); }},
    {"chain", kLinearChain,
     [](Work& w) {
       w.CorrectedImage();
       w.LinearGain(w.out);
       w.Colour(w.eight);
     }},
    {"chain", kNonLinearChain,
     [](Work& w) {
       w.CorrectedImage();
       w.NonLinearGain(w.out);
       w.Colour(w.equalized);
     }},
};

void Run(benchmark::State& state, const Case& what, Size size) {
  Work work(size);
  for (auto _ : state) {
    work.TakeNextFrame();
    what.run(work);
    benchmark::ClobberMemory();
  }
}

}  // namespace

void RegisterOpenCv() {
  cv::setNumThreads(1);
  for (const Size size : {kSmall, kLarge}) {
    for (const Case& what : kCases) {
      benchmark::RegisterBenchmark(
          BenchmarkName(what.kind, what.name, size, "opencv").c_str(),
          [&what, size](benchmark::State& state) { Run(state, what, size); });
    }
  }
}
