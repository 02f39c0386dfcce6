// Small text in pictures: digits, sign, point, "°C" and "K", drawn as strokes of any size with
// smooth edges.
#ifndef ZOCAM_TOOLS_LABEL_TEXT_H
#define ZOCAM_TOOLS_LABEL_TEXT_H

#include <string_view>

#include "tools/picture.h"

// Width in pixels of a text whose digits are digitHeight pixels high.
uint32_t LabelWidth(std::string_view text, uint32_t digitHeight);

// Draws the text, its top left corner at (left, top). What falls outside the picture is left out.
void DrawLabel(Picture& picture, uint32_t left, uint32_t top, uint32_t digitHeight,
               std::string_view text, Rgb colour);

#endif
