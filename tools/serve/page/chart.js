// The strip chart: one line per spot, newest at the right.

import { fitCanvas, kCanvasFont, styleOf } from './canvas.js';
import { clockText } from './quantities.js';
import { colourOfSpot } from './spot_colours.js';
import { inUnit, roundTicks } from './temperature.js';

const kLeftPx = 46;
const kRightPx = 8;
const kTopPx = 8;
const kBottomPx = 20;
const kLeastSpan = 1;  // kelvin, so that noise does not fill the chart
const kMostPoints = 1500;

export class Chart {
  constructor(canvas) { this.canvas = canvas; }

  // value: 'mean', 'min' or 'max'; span in seconds; limits: temperatures to draw as lines.
  show(feed, { value, span, unit, limits }) {
    const fitted = fitCanvas(this.canvas);
    if (!fitted) return;
    const { context, width, height } = fitted;
    const plotWidth = width - kLeftPx - kRightPx;
    const plotHeight = height - kTopPx - kBottomPx;
    context.clearRect(0, 0, width, height);
    context.font = `11px ${kCanvasFont}`;
    const times = feed?.times ?? [];
    const end = times.at(-1) ?? 0;
    const start = end - span * 1000;
    const lines = (feed?.histories ?? []).map((history) => pointsOf(times, history, start, value));
    const { low, high } = rangeOf(lines, unit);
    const xOf = (time) => kLeftPx + (time - start) / (span * 1000) * plotWidth;
    const yOf = (celsius) => kTopPx + (high - inUnit(celsius, unit)) / (high - low) * plotHeight;

    context.strokeStyle = styleOf('--line');
    context.fillStyle = styleOf('--muted');
    context.lineWidth = 1;
    context.textBaseline = 'middle';
    context.textAlign = 'right';
    const isEmpty = !lines.some((line) => line.length);
    const { ticks, digits } = roundTicks(low, high, Math.max(2, Math.floor(plotHeight / 32)));
    for (const tick of ticks) {
      const y = Math.round(kTopPx + (high - tick) / (high - low) * plotHeight) + 0.5;
      stroke(context, [[kLeftPx, y], [width - kRightPx, y]]);
      if (!isEmpty) context.fillText(tick.toFixed(digits).replace('-', '\u2212'), kLeftPx - 6, y);
    }
    context.textBaseline = 'alphabetic';
    for (let i = 0; i <= 4; ++i) {
      const x = Math.round(kLeftPx + plotWidth * i / 4) + 0.5;
      stroke(context, [[x, kTopPx], [x, kTopPx + plotHeight]]);
      context.textAlign = i === 4 ? 'right' : i === 0 ? 'left' : 'center';
      context.fillText(i === 4 ? (feed?.isRecording ? clockText(end / 1000) : 'now') : agoText(span * (4 - i) / 4), x, height - 5);
    }
    if (isEmpty) {
      context.textAlign = 'center';
      context.fillText(feed?.spots.length ? 'no values yet' : 'spots and areas draw their lines here',
        kLeftPx + plotWidth / 2, kTopPx + plotHeight / 2 + 4);
      return;
    }
    context.save();
    context.beginPath();
    context.rect(kLeftPx, kTopPx, plotWidth, plotHeight);
    context.clip();
    context.setLineDash([5, 4]);
    context.strokeStyle = styleOf('--alarm');
    for (const limit of limits) stroke(context, [[kLeftPx, yOf(limit)], [width - kRightPx, yOf(limit)]]);
    context.setLineDash([]);
    context.lineJoin = 'round';
    context.lineWidth = 1.75;
    lines.forEach((line, i) => {
      context.strokeStyle = colourOfSpot(i);
      stroke(context, line.map(([time, celsius]) => [xOf(time), yOf(celsius)]));
    });
    context.restore();
  }
}

function pointsOf(times, history, start, value) {
  let first = times.length;
  while (first > 0 && times[first - 1] >= start) --first;
  const stride = Math.max(1, Math.ceil((times.length - first) / kMostPoints));
  const points = [];
  // Whole multiples of the stride, so that a line does not shimmer while it moves.
  for (let i = Math.ceil(first / stride) * stride; i < times.length; i += stride) {
    const values = history.get(times[i]);
    if (values) points.push([times[i], values[value]]);
  }
  return points;
}

function rangeOf(lines, unit) {
  let low = Infinity;
  let high = -Infinity;
  for (const line of lines) {
    for (const [, celsius] of line) {
      low = Math.min(low, celsius);
      high = Math.max(high, celsius);
    }
  }
  if (low > high) [low, high] = [20, 30];
  const margin = Math.max((high - low) * 0.08, (kLeastSpan - (high - low)) / 2);
  return { low: inUnit(low - margin, unit), high: inUnit(high + margin, unit) };
}

const agoText = (seconds) => seconds >= 120 ? `−${+(seconds / 60).toFixed(1)} min` : `−${+seconds.toFixed(1)} s`;

function stroke(context, points) {
  context.beginPath();
  points.forEach(([x, y], i) => (i ? context.lineTo(x, y) : context.moveTo(x, y)));
  context.stroke();
}
