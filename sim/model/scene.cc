#include "sim/model/scene.h"

#include <cmath>
#include <numbers>

namespace zosim {
namespace {

// 1 in the centre, 0 from `radius` on, smooth between: a blob without the price of an exponential.
double Blob(double dx, double dy, double radius) {
  const double squared = (dx * dx + dy * dy) / (radius * radius);
  if (squared >= 1.0) return 0.0;
  return (1.0 - squared) * (1.0 - squared);
}

double Mixed(double background, double own, double share) {
  return background + (own - background) * share;
}

// Centre of something that goes to and fro between two places with the given period.
double Swing(double seconds, double period, double from, double to) {
  return from + (to - from) * 0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * seconds / period));
}

// The room at one moment: the bodies' places are worked out once for all pixels of a frame.
class RoomStill {
 public:
  RoomStill(double width, double height, double seconds)
      : width_(width),
        height_(height),
        walkerX_(Swing(seconds, 9.0, 0.2, 0.8) * width),
        ballY_(Swing(seconds, 3.7, 0.25, 0.85) * height) {}

  double operator()(double x, double y) const {
    double kelvin = 291.0 + 3.0 * y / height_ + 1.0 * x / width_;
    kelvin = Mixed(kelvin, 308.0, Blob(x - walkerX_, (y - 0.55 * height_) * 0.5, 0.16 * width_));
    kelvin = Mixed(kelvin, 304.0, Blob(x - 0.65 * width_, y - ballY_, 0.10 * width_));
    kelvin = Mixed(kelvin, 330.0, Blob(x - 0.85 * width_, y - 0.2 * height_, 0.05 * width_));
    kelvin = Mixed(kelvin, 275.0, Blob(x - 0.12 * width_, y - 0.15 * height_, 0.06 * width_));
    return kelvin;
  }

 private:
  double width_;
  double height_;
  double walkerX_;
  double ballY_;
};

uint64_t Scrambled(uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

}  // namespace

Scene Scene::Room(uint32_t width, uint32_t height) {
  return Scene([=](double seconds) { return RoomStill(width, height, seconds); });
}

Scene Scene::Uniform(double kelvin) {
  return Scene([=](double) { return [=](double, double) { return kelvin; }; });
}

Scene Scene::Gradient(double left, double right, uint32_t width) {
  const double last = width > 1 ? width - 1.0 : 1.0;
  const auto still = [=](double x, double) { return left + (right - left) * x / last; };
  return Scene([=](double) { return still; });
}

Scene Scene::From(Function function) {
  return Scene([function = std::move(function)](double seconds) {
    return [function, seconds](double x, double y) { return function(seconds, x, y); };
  });
}

double NoiseAt(uint64_t seed, uint64_t frameNumber, uint32_t x, uint32_t y) {
  const uint64_t place = static_cast<uint64_t>(y) << 32 | x;
  const uint64_t bits = Scrambled(Scrambled(seed * 0x10001 + frameNumber) ^ place);
  // The sum of four uniform numbers is close enough to normal for a sensor.
  const double sum = static_cast<double>((bits & 0xFFFF) + (bits >> 16 & 0xFFFF) +
                                         (bits >> 32 & 0xFFFF) + (bits >> 48 & 0xFFFF));
  constexpr double kMean = 2.0 * 65535.0;
  constexpr double kDeviation = 65535.0 * 0.57735;  // sqrt(4 / 12)
  return (sum - kMean) / kDeviation;
}

}  // namespace zosim
