// The colours of the picture beside their temperatures; upright, or lying where the page is narrow.

import { fitCanvas, kCanvasFont, styleOf } from './canvas.js';
import { fromUnit, inUnit, roundTicks } from './temperature.js';

const kBarPx = 16;
const kMarginPx = 9;  // half a label beyond either end

export class ScaleBar {
  constructor(canvas) { this.canvas = canvas; }

  // scale as a Painter returns it; null for none.
  show(scale, unit) {
    const fitted = fitCanvas(this.canvas);
    if (!fitted) return;
    const { context, width, height } = fitted;
    const isUpright = height > width;
    const margin = isUpright ? kMarginPx : 4;
    const length = (isUpright ? height : width) - 2 * margin;
    context.clearRect(0, 0, width, height);
    const along = (share) => isUpright ? margin + (1 - share) * length : margin + share * length;
    const ink = styleOf('--ink');
    if (scale && scale.high > scale.low) {
      for (let i = 0; i < length; ++i) {
        const share = (i + 0.5) / length;
        context.fillStyle = cssOf(scale.colourAt(scale.low + share * (scale.high - scale.low)));
        if (isUpright) context.fillRect(0, margin + length - i - 1, kBarPx, 1.5);
        else context.fillRect(margin + i, 0, 1.5, kBarPx);
      }
    }
    context.strokeStyle = styleOf('--line-strong');
    context.lineWidth = 1;
    if (isUpright) context.strokeRect(0.5, margin - 0.5, kBarPx, length + 1);
    else context.strokeRect(margin - 0.5, 0.5, length + 1, kBarPx);
    if (!scale || !(scale.high > scale.low)) return;
    context.font = `12px ${kCanvasFont}`;
    context.fillStyle = ink;
    context.strokeStyle = styleOf('--muted');
    context.textBaseline = 'middle';
    const low = inUnit(scale.low, unit);
    const high = inUnit(scale.high, unit);
    const { ticks, digits } = roundTicks(low, high, Math.max(2, Math.floor(length / (isUpright ? 46 : 58))));
    for (const tick of ticks) {
      const place = along((fromUnit(tick, unit) - scale.low) / (scale.high - scale.low));
      const text = (Object.is(tick, -0) ? 0 : tick).toFixed(digits).replace('-', '\u2212');
      context.beginPath();
      if (isUpright) {
        context.moveTo(kBarPx + 1, place);
        context.lineTo(kBarPx + 5, place);
        context.textAlign = 'left';
        context.fillText(text, kBarPx + 8, place);
      } else {
        context.moveTo(place, kBarPx + 1);
        context.lineTo(place, kBarPx + 5);
        const half = context.measureText(text).width / 2;
        context.textAlign = 'center';
        context.fillText(text, Math.max(half, Math.min(place, width - half)), kBarPx + 13);
      }
      context.stroke();
    }
  }
}

const cssOf = (word) => `rgb(${word & 0xff} ${word >> 8 & 0xff} ${word >> 16 & 0xff})`;
