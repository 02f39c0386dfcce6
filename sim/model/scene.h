// What the camera looks at: a temperature in kelvin for every place and moment.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

namespace zosim {

// A scene is a pure function of time and place. Places are in pixels of the camera that looks at
// it, (0, 0) being the centre of the top left pixel; fractions lie between pixel centres.
class Scene {
 public:
  using Function = std::function<double(double seconds, double x, double y)>;
  // The scene held still at one moment.
  using Still = std::function<double(double x, double y)>;

  // A room with a cool-to-warm background, two warm bodies that move about, one hot and one cold
  // spot. Temperatures stay between 275 and 330 K.
  static Scene Room(uint32_t width, uint32_t height);
  static Scene Uniform(double kelvin);
  // From `left` at the left edge to `right` at the right edge.
  static Scene Gradient(double left, double right, uint32_t width);
  static Scene From(Function function);

  Still At(double seconds) const { return at_(seconds); }
  double KelvinAt(double seconds, double x, double y) const { return at_(seconds)(x, y); }

 private:
  using Moving = std::function<Still(double seconds)>;
  explicit Scene(Moving at) : at_(std::move(at)) {}

  Moving at_;
};

// Deterministic sensor noise: about normal with standard deviation 1, a function of its arguments.
double NoiseAt(uint64_t seed, uint64_t frameNumber, uint32_t x, uint32_t y);

}  // namespace zosim
