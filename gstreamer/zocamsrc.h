// The element zocamsrc: a thermal camera or a recording as a source of video.
#ifndef ZOCAM_GSTREAMER_ZOCAMSRC_H
#define ZOCAM_GSTREAMER_ZOCAMSRC_H

#include <gst/gst.h>

G_BEGIN_DECLS
GST_ELEMENT_REGISTER_DECLARE(zocamsrc)
G_END_DECLS

#endif
