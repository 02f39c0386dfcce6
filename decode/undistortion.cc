#include "decode/undistortion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "decode/raw_frame.h"
#include "simd/stage_table.h"

namespace {

constexpr int kNoMemory = 12;

// Maps output places to the input places that the lens put there.
class LensModel {
 public:
  LensModel(uint32_t width, uint32_t height, double strength)
      : width_(width), height_(height), strength_(strength) {
    const double radius = width_ / strength;
    squaredRadius_ = radius * radius;
  }

  RemapEntry EntryAt(int32_t column, int32_t row) const {
    if (strength_ == 0.0) return {column, row, 1.0, 0.0, 0.0, 0.0};
    const auto width = static_cast<int32_t>(width_);
    const auto height = static_cast<int32_t>(height_);
    const int32_t centreColumn = width / 2;
    const int32_t centreRow = height / 2;
    const double dx = column - centreColumn;
    const double dy = row - centreRow;
    const double k = ScaleAt(dx, dy);
    const double sx = dx * k + 0.5 * width_;
    const double sy = dy * k + 0.5 * height_;
    if (IsOutside(sx, width) || IsOutside(sy, height)) {
      return {column, row, 0.25, 0.25, 0.25, 0.249999};
    }
    const double roundedX = RoundHalfUp(sx);
    const double roundedY = RoundHalfUp(sy);
    const double fx = std::trunc(roundedX) - sx + 0.5;  // weight of the left column
    const double fy = std::trunc(roundedY) - sy + 0.5;  // weight of the upper row
    const auto [w00, w10, w01, w11] = Weights(fx, fy);
    return {static_cast<int32_t>(roundedX - 1.0),
            static_cast<int32_t>(roundedY - 1.0),
            w00,
            w10,
            w01,
            w11};
  }

 private:
  // Source radius over output radius; always below 1, as the lens compresses the border.
  double ScaleAt(double dx, double dy) const {
    const double rho = std::sqrt(dx * dx + dy * dy);
    if (rho < 1e-6) return 0.0;
    const double squared = rho * rho;
    return std::sqrt(squaredRadius_ * squared / (squared + squaredRadius_)) / rho;
  }

  // Blocks that would reach over the border are left as they are.
  static bool IsOutside(double place, int32_t size) {
    const double pixel = std::trunc(place);
    return !(pixel >= 1 && pixel < size - 1);  // nor is what a tiny strength makes a place
  }

  static double RoundHalfUp(double place) {
    return place - 0.5 >= std::trunc(place) ? place + 1 : place;
  }

  // What clamping and rounding took away is given to the smallest weight.
  static std::array<double, 4> Weights(double fx, double fy) {
    std::array<double, 4> w = {fx * fy, fy * (1 - fx), fx * (1 - fy), (1 - fx) * (1 - fy)};
    for (double& weight : w) weight = std::clamp(weight, 0.0, 1.0);
    const double sum = w[0] + w[1] + w[2] + w[3];
    if (sum < 1.0) w[SmallestOf(w)] += 1 - sum;
    return w;
  }

  // The index of the one weight below all others; the last when there is a tie.
  static std::size_t SmallestOf(const std::array<double, 4>& w) {
    for (std::size_t i = 0; i < 3; ++i) {
      bool smallest = true;
      for (std::size_t other = 0; other < w.size(); ++other) {
        if (other != i && !(w[i] < w[other])) smallest = false;
      }
      if (smallest) return i;
    }
    return 3;
  }

  double width_;
  double height_;
  double strength_;
  double squaredRadius_ = 0.0;
};

// Cuts a remap table into runs.
class RunCutter {
 public:
  RunCutter(const RemapEntry* entries, uint32_t width, uint32_t height)
      : entries_(entries), width_(width), count_(width * height) {}

  uint32_t RunCount() const {
    uint32_t runs = 0;
    for (uint32_t first = 0; first < count_; ++runs) first += RunAt(first).count;
    return runs;
  }

  void Fill(RemapRun* run) const {
    for (uint32_t first = 0; first < count_; first += run++->count) {
      *run = RunAt(first);
      if (run->fixedPoint != 0) FillWeights(*run);
    }
  }

 private:
  RemapRun RunAt(uint32_t first) const {
    RemapRun run = {};
    run.first = first;
    run.fixedPoint = HasFixedPoint(first) ? 1 : 0;
    run.src = run.fixedPoint != 0 ? SourceOf(first) : 0;
    const uint32_t limit =
        run.fixedPoint != 0 ? std::min(count_, first + RemapRun::kPixels) : count_;
    const auto belongs = [&](uint32_t n) {
      if (run.fixedPoint == 0) return !HasFixedPoint(n);
      return HasFixedPoint(n) && SourceOf(n) - run.src == n - first;
    };
    run.count = 1;
    while (first + run.count < limit && belongs(first + run.count)) ++run.count;
    return run;
  }

  uint32_t SourceOf(uint32_t n) const {
    return static_cast<uint32_t>(entries_[n].y) * width_ + static_cast<uint32_t>(entries_[n].x);
  }

  // A run that starts here stays inside both images, and the weights make up 1.
  bool HasFixedPoint(uint32_t n) const {
    const RemapEntry& e = entries_[n];
    const uint64_t end = uint64_t{SourceOf(n)} + width_ + 1 + RemapRun::kPixels;
    return end <= count_ && uint64_t{n} + RemapRun::kPixels <= count_ &&
           std::abs(e.w00 + e.w10 + e.w01 + e.w11 - 1) < 0x1p-40;
  }

  void FillWeights(RemapRun& run) const {
    for (uint32_t i = 0; i < RemapRun::kPixels; ++i) {
      const RemapEntry& e = entries_[run.first + std::min(i, run.count - 1)];
      const uint32_t place = i % 2 * RemapRun::kPixels + i / 2 * 2;
      SetWeight(run.upper, place, e.w00);
      SetWeight(run.upper, place + 1, e.w10);
      SetWeight(run.lower, place, e.w01);
      SetWeight(run.lower, place + 1, e.w11);
    }
  }

  static void SetWeight(RemapRun::Weights& weights, uint32_t place, double weight) {
    const double coarse = std::round(weight * 0x1p14);
    weights.coarse[place] = static_cast<int16_t>(coarse);
    weights.fine[place] = static_cast<int16_t>(std::round(weight * 0x1p28 - coarse * 0x1p14));
  }

  const RemapEntry* entries_;
  uint32_t width_;
  uint32_t count_;
};

}  // namespace

Undistortion::Undistortion() = default;
Undistortion::~Undistortion() = default;

int Undistortion::Setup(unsigned int width, unsigned int height, double strength) {
  const uint32_t oldWidth = std::exchange(width_, width);
  const uint32_t oldHeight = std::exchange(height_, height);
  const int status = SetStrength(strength);
  if (status != 0 && table_) {  // the table that is in use fits the old size
    width_ = oldWidth;
    height_ = oldHeight;
  }
  return status;
}

int Undistortion::SetStrength(double strength) {
  if (!(strength >= 0) || strength > width_) return static_cast<int>(ZO_STATUS_INVALID_STATE);
  if (uint64_t{width_} * height_ > INT32_MAX) return kNoMemory;
  auto table = AllocateZeroed<RemapEntry>(std::size_t{width_} * height_);
  if (!table) return kNoMemory;
  const LensModel lens(width_, height_, strength);
  RemapEntry* entry = table.get();
  for (uint32_t row = 0; row < height_; ++row) {
    for (uint32_t column = 0; column < width_; ++column) {
      *entry++ = lens.EntryAt(static_cast<int32_t>(column), static_cast<int32_t>(row));
    }
  }
  const RunCutter cutter(table.get(), width_, height_);
  const uint32_t runCount = cutter.RunCount();
  auto runs = AllocateZeroed<RemapRun>(runCount);
  if (!runs) return kNoMemory;
  cutter.Fill(runs.get());
  strength_ = strength;
  table_ = std::move(table);
  runs_ = std::move(runs);
  runCount_ = runCount;
  return 0;
}

void Undistortion::Transform(unsigned short* dst, const unsigned short* src) {
  if (!table_ || dst == nullptr || src == nullptr) return;
  Stages().undistort({table_.get(), width_, height_, runs_.get(), runCount_}, src, dst);
}

void scalar::Undistort(const RemapTable& table, const uint16_t* src, uint16_t* dst) {
  UndistortPart(table, src, dst, 0, table.width * table.height);
}

void scalar::UndistortPart(const RemapTable& table, const uint16_t* src, uint16_t* dst,
                           uint32_t first, uint32_t partCount) {
  const std::size_t count = std::size_t{table.width} * table.height;
  for (std::size_t n = first; n < std::size_t{first} + partCount; ++n) {
    const RemapEntry& e = table.entries[n];
    const std::size_t b =
        static_cast<std::size_t>(e.y) * table.width + static_cast<std::size_t>(e.x);
    const auto inside = [&](std::size_t place) { return place < count ? place : b; };
    dst[n] = TruncateToLow16(src[b] * e.w00 + src[inside(b + 1)] * e.w10 +
                             src[inside(b + table.width)] * e.w01 +
                             src[inside(b + table.width + 1)] * e.w11);
  }
}
