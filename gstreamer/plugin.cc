// What GStreamer finds in libgstzocam.so.
#include "gstreamer/zocamsrc.h"

namespace {

gboolean Initialise(GstPlugin* plugin) { return GST_ELEMENT_REGISTER(zocamsrc, plugin); }

}  // namespace

// The macro's own parts.
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wpedantic"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, zocam, "Small USB thermal-infrared cameras",
                  Initialise, ZOCAM_VERSION, "Apache 2.0", PACKAGE, "https://zocam.invalid/")
