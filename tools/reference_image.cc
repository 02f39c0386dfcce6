#include "tools/reference_image.h"

#include <algorithm>
#include <cmath>

#include "tools/advice.h"
#include "tools/input_file.h"
#include "tools/npy_file.h"
#include "tools/png_file.h"

namespace {

constexpr size_t kMostBytes = size_t{64} << 20;

const std::string* FindText(const std::vector<PngText>& texts, const std::string& key) {
  const auto found = std::ranges::find(texts, key, &PngText::key);
  return found == texts.end() ? nullptr : &found->text;
}

// Units per kelvin of a PNG's values.
int32_t ResolutionOf(const std::vector<PngText>& texts) {
  const std::string* quantity = FindText(texts, kPngQuantityKey);
  if (quantity != nullptr && *quantity != PngQuantityName(Quantity::kTemperature))
    throw ToolError("it holds values of the kind \"" + *quantity + "\", no temperatures");
  const std::string* unit = FindText(texts, "Unit");
  const std::string* resolution = FindText(texts, "Resolution");
  if (unit == nullptr || resolution == nullptr)
    throw ToolError("it does not say its unit; take it with zocam snapshot --raw16");
  for (const int32_t known : {10, 100})
    if (*resolution == std::to_string(known) && *unit == "1/" + *resolution + " K") return known;
  throw ToolError("its unit is \"" + *unit + "\" and its resolution \"" + *resolution +
                  "\"; 1/100 K and 1/10 K are known");
}

ReferenceImage Decode(const std::vector<uint8_t>& bytes) {
  if (IsNpy(bytes)) {
    NpyImage image = DecodeNpy(bytes);
    return {image.width, image.height, 0, std::move(image.values)};
  }
  if (!IsPng(bytes)) throw ToolError("it is neither a PNG nor a NumPy file");
  PngValues image = DecodeGrey16Png(bytes);
  return {image.width, image.height, ResolutionOf(image.texts), std::move(image.values)};
}

}  // namespace

ReferenceImage ReadReferenceImage(const std::string& path) {
  const std::vector<uint8_t> bytes = ReadInputFile(path, kMostBytes);
  try {
    return Decode(bytes);
  } catch (const ToolError& error) {
    throw ToolError(path + " is no reference image: " + error.what());
  }
}

std::vector<uint16_t> ValuesAt(const ReferenceImage& reference, int32_t resolution) {
  if (reference.resolution == 0 || reference.resolution == resolution) return reference.values;
  std::vector<uint16_t> values;
  values.reserve(reference.values.size());
  for (const uint16_t value : reference.values) {
    const double scaled = static_cast<double>(value) * resolution / reference.resolution;
    values.push_back(static_cast<uint16_t>(std::lround(std::min(scaled, 65535.0))));
  }
  return values;
}
