// A frame in colours, at the camera's size.

import { colourTable, linearGain, manualGain, nonLinearGain } from './gain.js';
import { celsiusOf, sampleOf } from './temperature.js';

export class Painter {
  constructor() {
    this.canvas = document.createElement('canvas');
    this.image = null;
  }

  // look: {palette: 1024 colours as their bytes lie in ImageData, gain, low, high (manual, °C),
  // damped}. Returns the temperatures at the ends of the scale and the colour at each of them.
  paint(frame, referenceColumns, look) {
    const { samples, width, height, resolution, extremes } = frame;
    if (!extremes) return null;
    if (!this.image || this.canvas.width !== width || this.canvas.height !== height) {
      this.canvas.width = width;
      this.canvas.height = height;
      this.image = new ImageData(width, height);
      this.words = new Uint32Array(this.image.data.buffer);
    }
    const isManual = look.gain === 'manual';
    const low = isManual ? sampleOf(look.low, resolution) : extremes.min;
    const high = isManual ? sampleOf(look.high, resolution) : extremes.max;
    const gain = isManual ? manualGain(low, high) : look.gain === 'nonlinear'
      ? nonLinearGain(samples, width, referenceColumns, extremes, look.damped)
      : linearGain(low, high);
    const table = colourTable(gain, look.palette, extremes.min, extremes.max);
    const last = table.length - 1;
    for (let i = 0; i < samples.length; ++i) {
      // Reference columns may lie outside of the picture's extremes.
      const at = samples[i] - extremes.min;
      this.words[i] = table[at < 0 ? 0 : at > last ? last : at];
    }
    this.canvas.getContext('2d').putImageData(this.image, 0, 0);
    return {
      low: celsiusOf(low, resolution), high: celsiusOf(high, resolution),
      colourAt: (celsius) => look.palette[gain(sampleOf(celsius, resolution))],
    };
  }
}

// 0xRRGGBB as the bytes red, green, blue, opaque.
export function imageDataColours(palette) {
  return Uint32Array.from(palette, (colour) =>
    (0xff000000 | (colour & 0xff) << 16 | (colour & 0xff00) | colour >> 16 & 0xff) >>> 0);
}
