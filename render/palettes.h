// Palettes: 1024 colours 0x00RRGGBB each, indexed by a display level, coldest first.
#ifndef ZOCAM_RENDER_PALETTES_H
#define ZOCAM_RENDER_PALETTES_H

#include <array>
#include <cstdint>

#include "render/formats.h"

namespace zocam {

inline constexpr uint32_t kDisplayLevels = 1024;

using Palette = std::array<uint32_t, kDisplayLevels>;

extern const Palette g_colTabIron;
extern const Palette g_colTabRainbow;
extern const Palette g_manualGreys;   // the level itself, at most 255
extern const Palette g_displayGreys;  // a quarter of the level

// The palette that turns a gain's levels into colours. The manual gain makes grey levels 0 to 255,
// the automatic gains 0 to 1023; coloured levels are 0 to 1023 with every gain.
const Palette& PaletteFor(Colours colours, Gain gain);

}  // namespace zocam

#endif
