#include "tools/decode_settings.h"

#include "tools/advice.h"
#include "tools/camera_summary.h"

namespace {

void InstallReflections(zocam::Device& device, const std::string& path) {
  try {
    device.SetReflectionCorrectionFile(path);
  } catch (const zocam::Error& error) {
    switch (error.Status()) {
      case ZO_STATUS_FILE_IO_ERROR:
        throw ToolError("cannot read " + path +
                        ": it is not there, not a plain file, or not yours");
      case ZO_STATUS_INVALID_FILE_FORMAT:
        throw ToolError(path + " is no reflection correction for a camera of this model (" +
                        ProductText(device.ProductId()) + "); make one with zocam reflection make");
      case ZO_STATUS_MODEL_UNSUPPORTED:
        throw ToolError(path + " was made by another model than this camera (" +
                        ProductText(device.ProductId()) + "); make one with zocam reflection make");
      default:
        throw;
    }
  }
}

}  // namespace

void DecodeSettings::Apply(zocam::Device& device) const {
  if (noiseThreshold) {
    device.SetNoiseFilter(*noiseThreshold != 0);
    if (*noiseThreshold != 0) device.SetNoiseFilterThreshold(*noiseThreshold);
  }
  if (undistortion) device.SetUndistortion(*undistortion);
  if (circumference) {
    device.SetCircumferenceCorrection(*circumference);
    if (device.CircumferenceCorrection() != *circumference)
      throw ToolError(device.Label() + ": cameras of model " + ProductText(device.ProductId()) +
                      " have no circumference correction; leave that choice out");
  }
  device.SetWindowCorrection(window ? 1 : 0);
  device.SetUpsideDown(upsideDown);
  device.SetColorizeByRaw(byRaw);
  if (!reflectionPath.empty()) InstallReflections(device, reflectionPath);
}

bool DecodeSettings::DependsOnEarlierFrames(const zocam::Device& device) {
  return device.WindowCorrection() != 0 || ZoLib_GetRefTempRegion(device.Handle()) != 0;
}
