#include "tools/label_text.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace {

// Glyphs are drawn on a grid 6 units high, y downwards, without the stroke's own width.
constexpr double kGridHeight = 6.0;
constexpr double kStrokeHalfWidth = 0.42;
constexpr double kGap = 1.5;  // between two glyphs

// Part of an ellipse; angles in degrees, clockwise from the right. A straight stroke is given by
// its ends instead.
struct Stroke {
  enum class Kind { kLine, kArc } kind;
  double x, y;      // line: from; arc: centre
  double x2, y2;    // line: to; arc: radii
  double from, to;  // arc only
};

constexpr Stroke Line(double x, double y, double x2, double y2) {
  return {Stroke::Kind::kLine, x, y, x2, y2, 0, 0};
}
constexpr Stroke Arc(double x, double y, double rx, double ry, double from, double to) {
  return {Stroke::Kind::kArc, x, y, rx, ry, from, to};
}

struct Glyph {
  char character;
  double width;
  std::vector<Stroke> strokes;
};

constexpr char kDegree = '\xB0';  // second byte of the sign in UTF-8

const std::vector<Glyph>& Glyphs() {
  static const std::vector<Glyph> glyphs = {
      {'0', 4, {Arc(2, 3, 2, 3, 0, 360)}},
      {'1', 4, {Line(0.7, 1.3, 2.3, 0), Line(2.3, 0, 2.3, 6)}},
      {'2', 4, {Arc(2, 1.9, 1.9, 1.9, -170, 30), Line(3.65, 2.85, 0.1, 6), Line(0.1, 6, 4, 6)}},
      {'3', 4, {Arc(1.8, 1.5, 1.7, 1.5, -155, 90), Arc(1.8, 4.5, 2.1, 1.5, -90, 155)}},
      {'4', 4, {Line(3, 6, 3, 0), Line(3, 0, 0, 4.3), Line(0, 4.3, 4, 4.3)}},
      {'5',
       4,
       {Line(3.6, 0, 0.7, 0), Line(0.7, 0, 0.45, 2.8), Arc(1.95, 4.05, 1.95, 1.95, -140, 145)}},
      {'6', 4, {Arc(2, 4.1, 1.9, 1.9, 0, 360), Arc(3.4, 4.1, 3.3, 4.1, 180, 262)}},
      {'7', 4, {Line(0, 0, 4, 0), Line(4, 0, 1.4, 6)}},
      {'8', 4, {Arc(2, 1.45, 1.6, 1.45, 0, 360), Arc(2, 4.45, 2, 1.55, 0, 360)}},
      {'9', 4, {Arc(2, 1.9, 1.9, 1.9, 0, 360), Arc(0.6, 1.9, 3.3, 4.1, 0, 82)}},
      {'-', 2.6, {Line(0, 3.3, 2.6, 3.3)}},
      {'.', 0.2, {Line(0.1, 5.9, 0.1, 5.9)}},
      {kDegree, 2, {Arc(1, 1, 1, 1, 0, 360)}},
      {'K', 3.6, {Line(0, 0, 0, 6), Line(3.6, 0, 0, 3.7), Line(1.3, 2.6, 3.6, 6)}},
      {'C', 4, {Arc(2.3, 3, 2.3, 3, 50, 310)}},
  };
  return glyphs;
}

const Glyph* FindGlyph(char character) {
  const auto found = std::ranges::find(Glyphs(), character, &Glyph::character);
  return found == Glyphs().end() ? nullptr : &*found;
}

struct Point {
  double x, y;
};

// A stroke as a chain of straight pieces.
std::vector<Point> Flatten(const Stroke& stroke) {
  if (stroke.kind == Stroke::Kind::kLine) return {{stroke.x, stroke.y}, {stroke.x2, stroke.y2}};
  constexpr int kPieces = 24;
  std::vector<Point> points;
  for (int i = 0; i <= kPieces; ++i) {
    const double degrees = stroke.from + (stroke.to - stroke.from) * i / kPieces;
    const double angle = degrees * std::numbers::pi / 180.0;
    points.push_back(
        {stroke.x + stroke.x2 * std::cos(angle), stroke.y + stroke.y2 * std::sin(angle)});
  }
  return points;
}

double DistanceToPiece(Point p, Point a, Point b) {
  const double dx = b.x - a.x, dy = b.y - a.y;
  const double lengthSquared = dx * dx + dy * dy;
  double along = 0.0;
  if (lengthSquared > 0.0)
    along = std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / lengthSquared, 0.0, 1.0);
  return std::hypot(p.x - a.x - along * dx, p.y - a.y - along * dy);
}

double DistanceToChain(Point p, const std::vector<Point>& chain) {
  double nearest = kGridHeight * 4;
  for (size_t i = 0; i + 1 < chain.size(); ++i)
    nearest = std::min(nearest, DistanceToPiece(p, chain[i], chain[i + 1]));
  return nearest;
}

Rgb Mix(Rgb under, Rgb over, double share) {
  Rgb mixed;
  for (size_t i = 0; i < mixed.size(); ++i)
    mixed[i] = static_cast<uint8_t>(std::lround(under[i] + (over[i] - under[i]) * share));
  return mixed;
}

// Where grid units become pixels; strokes stay inside digitHeight.
struct Scale {
  explicit Scale(uint32_t digitHeight)
      : pixelsPerUnit(digitHeight / (kGridHeight + 2 * kStrokeHalfWidth)),
        halfWidth(std::max(0.55, kStrokeHalfWidth * pixelsPerUnit)) {}
  double Advance(const Glyph& glyph) const { return (glyph.width + kGap) * pixelsPerUnit; }
  double pixelsPerUnit;
  double halfWidth;  // pixels
};

void DrawGlyph(Picture& picture, const Glyph& glyph, double left, double top, const Scale& scale,
               uint32_t digitHeight, Rgb colour) {
  std::vector<std::vector<Point>> chains;
  for (const Stroke& stroke : glyph.strokes) chains.push_back(Flatten(stroke));
  const auto firstX = static_cast<uint32_t>(std::max(0.0, left - 1));
  const double right = left + (glyph.width + 2 * kStrokeHalfWidth) * scale.pixelsPerUnit + 1;
  const auto firstY = static_cast<uint32_t>(std::max(0.0, top));
  for (uint32_t y = firstY; y < std::min(picture.height, firstY + digitHeight + 1); ++y) {
    for (uint32_t x = firstX; x < picture.width && x < right; ++x) {
      const Point p{(x + 0.5 - left) / scale.pixelsPerUnit - kStrokeHalfWidth,
                    (y + 0.5 - top) / scale.pixelsPerUnit - kStrokeHalfWidth};
      double nearest = kGridHeight * 4;
      for (const auto& chain : chains) nearest = std::min(nearest, DistanceToChain(p, chain));
      const double coverage =
          std::clamp(scale.halfWidth + 0.5 - nearest * scale.pixelsPerUnit, 0.0, 1.0);
      if (coverage > 0.0) picture.At(x, y) = Mix(picture.At(x, y), colour, coverage);
    }
  }
}

}  // namespace

uint32_t LabelWidth(std::string_view text, uint32_t digitHeight) {
  const Scale scale(digitHeight);
  double width = 0.0;
  for (char character : text)
    if (const Glyph* glyph = FindGlyph(character)) width += scale.Advance(*glyph);
  return static_cast<uint32_t>(std::ceil(width));
}

void DrawLabel(Picture& picture, uint32_t left, uint32_t top, uint32_t digitHeight,
               std::string_view text, Rgb colour) {
  const Scale scale(digitHeight);
  double x = left;
  for (char character : text) {
    const Glyph* glyph = FindGlyph(character);
    if (glyph == nullptr) continue;  // the first byte of the degree sign
    DrawGlyph(picture, *glyph, x, top, scale, digitHeight, colour);
    x += scale.Advance(*glyph);
  }
}
