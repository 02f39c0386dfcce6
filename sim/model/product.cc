#include "sim/model/product.h"

namespace zosim {

ProductModel ModelOf(uint16_t productId) {
  ProductModel model;
  model.productId = productId;
  model.width = 80;
  model.height = 60;
  model.footerLines = 4;
  model.telemetryLines = 3;
  model.revision = 9;
  model.rawKind = RawKind::kCounts;
  model.highRate = productId == 0x6100 || productId == 0x6101;
  model.referenceStrip = productId == 0x6120;
  model.barrelLens = productId == 0x6103;

  const bool large = productId >= 0x6102 && productId <= 0x6105;
  if (large) {
    model.width = 160;
    model.height = 120;
    model.footerLines = 2;
    model.telemetryLines = 2;
  }
  switch (productId) {
    case 0x6102:
      model.revision = 10;
      break;
    case 0x6101:
    case 0x6103:
    case 0x6104:
    case 0x6105:
    case 0x6120:
      model.revision = 14;
      model.rawKind = RawKind::kTemperature;
      break;
    default:
      break;
  }
  return model;
}

}  // namespace zosim
