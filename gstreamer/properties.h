// The properties of zocamsrc: their names, limits, defaults and texts, and where their values
// stand.
#ifndef ZOCAM_GSTREAMER_PROPERTIES_H
#define ZOCAM_GSTREAMER_PROPERTIES_H

#include <glib-object.h>

#include "gstreamer/frame_painter.h"
#include "gstreamer/frame_source.h"

namespace zogst {

struct Settings {
  SourceChoice source;
  PaintSettings paint;
};

enum Property : guint {
  kDevice = 1,
  kLocation,
  kHighRate,
  kPalette,
  kGain,
  kRangeLow,
  kRangeHigh,
  kNoiseFilter,
  kUndistortion,
  kCircumference,
  kWindow,
  kUpsideDown,
  kReflection,
  kDropped,     // read-only: not in Settings
  kResolution,  // read-only: not in Settings
};

void InstallProperties(GObjectClass* objectClass);

// These leave the read-only ones alone; false: there is no such property.
bool SetProperty(Settings& settings, guint property, const GValue* value);
bool GetProperty(const Settings& settings, guint property, GValue* value);

}  // namespace zogst

#endif
