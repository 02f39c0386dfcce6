// Spots, areas and the ways between pixels of the camera and places in the turned picture.

import { celsiusOf } from './temperature.js';

export const kMostSpots = 16;

// The area moved and cut so that it lies in the picture; whole pixels, at least one.
export function fitArea(area, width, height) {
  const w = Math.max(1, Math.min(Math.round(area.width), width));
  const h = Math.max(1, Math.min(Math.round(area.height), height));
  return {
    ...area, width: w, height: h,
    x: Math.max(0, Math.min(Math.round(area.x), width - w)),
    y: Math.max(0, Math.min(Math.round(area.y), height - h)),
  };
}

// The area that two opposite corner pixels span.
export function areaBetween(a, b) {
  return {
    x: Math.min(a.x, b.x), y: Math.min(a.y, b.y),
    width: Math.abs(a.x - b.x) + 1, height: Math.abs(a.y - b.y) + 1,
  };
}

export function measure(frame, area) {
  const { x, y, width, height } = fitArea(area, frame.width, frame.height);
  let min = 0x10000;
  let max = -1;
  let sum = 0;
  let hottest = null;
  let coldest = null;
  for (let row = y; row < y + height; ++row) {
    for (let column = x; column < x + width; ++column) {
      const sample = frame.samples[row * frame.width + column];
      if (sample < min) { min = sample; coldest = [column, row]; }
      if (sample > max) { max = sample; hottest = [column, row]; }
      sum += sample;
    }
  }
  return {
    min: celsiusOf(min, frame.resolution), max: celsiusOf(max, frame.resolution),
    mean: celsiusOf(sum / (width * height), frame.resolution), hottest, coldest,
  };
}

// Index of the topmost area within `reach` pixels of a place; the smallest wins, so that a spot
// inside an area can be taken. -1 for none.
export function areaAt(areas, place, reach) {
  let found = -1;
  areas.forEach((area, i) => {
    const inside = place.x >= area.x - reach && place.x < area.x + area.width + reach &&
      place.y >= area.y - reach && place.y < area.y + area.height + reach;
    if (!inside) return;
    if (found < 0 || area.width * area.height <= areas[found].width * areas[found].height) found = i;
  });
  return found;
}

export const isSideways = (quarterTurns) => quarterTurns % 2 === 1;

// Where a place of the picture, 0 to 1 each way, is after clockwise quarter turns; and back.
export function turned({ x, y }, quarterTurns) {
  switch (quarterTurns) {
    case 1: return { x: 1 - y, y: x };
    case 2: return { x: 1 - x, y: 1 - y };
    case 3: return { x: y, y: 1 - x };
    default: return { x, y };
  }
}
export const turnedBack = (place, quarterTurns) => turned(place, (4 - quarterTurns) % 4);
