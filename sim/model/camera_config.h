// Everything that is fixed about one camera before it is plugged in.
#pragma once

#include <cstdint>
#include <string>

#include "sim/model/product.h"
#include "sim/model/telemetry.h"

namespace zosim {

struct CameraConfig {
  uint16_t productId = 0x6103;
  uint16_t vendorId = kFamilyVendorId;
  uint16_t releaseNumber = 0x0100;
  uint16_t firmwareVersion = 0x0110;
  uint64_t serialNumber = 0x0001000200030004;
  uint8_t infoFlags = 0;
  std::string productName = "Thermal Camera";  // empty: no product string at all
  bool metadataNode = true;                    // brings a second, metadata-only video node

  uint32_t startTimeMs = 4000;  // camera time of the first frame
  CameraLife life = {};
  bool fineResolution = true;   // revision 14: words in 1/100 K, else in 1/10 K
  uint16_t correctionFlag = 0;  // telemetry word at 416
  uint16_t stretchFlag = 0;     // telemetry word at 330
  double noiseKelvin = 0.0;     // standard deviation of the sensor noise
  uint64_t noiseSeed = 1;
  bool stampsFrames = false;  // see frame_stamp.h

  // What the host's corrections take away. Off by default, so that a frame means the scene without
  // any correction; the cameras of zocam-sim have what their product has.
  bool borderFallOff = false;     // revision 9: fewer counts towards the border
  bool barrelDistortion = false;  // the lens that product 0x6103 has
  bool referenceDrift = false;    // products with a reference body: the image drifts between FFCs
  double reflectionKelvin = 0.0;  // amplitude of a fixed pattern of reflections
};

}  // namespace zosim
