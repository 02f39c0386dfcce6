// The gains: which of a palette's 1024 levels a sample gets. The arithmetic is the library's.

export const kLevels = 1024;
const kBins = 32;
const kBlock = 1024;
const kPeakShare = 0.4;
const kPeakDivisor = 10;
const kDampedBonus = 50;

// Lowest and highest sample right of the reference columns; null for an image without any.
export function extremesOf(samples, width, referenceColumns) {
  let min = 0x10000;
  let max = -1;
  let minAt = 0;
  let maxAt = 0;
  let sum = 0;
  let count = 0;
  for (let line = 0; line + width <= samples.length; line += width) {
    for (let i = line + referenceColumns; i < line + width; ++i) {
      const sample = samples[i];
      if (sample < min) { min = sample; minAt = i; }
      if (sample > max) { max = sample; maxAt = i; }
      sum += sample;
      ++count;
    }
  }
  return count ? { min, max, mean: sum / count, minAt, maxAt } : null;
}

// A gain is a function from a sample to its level.

export function linearGain(min, max) {
  if (min >= max) return () => 0;
  const span = max - min;
  return (sample) => Math.floor(Math.max(0, Math.min(sample - min, span - 1)) * kLevels / span);
}

export function manualGain(low, high) {
  const span = Math.max(high - low, 1);
  return (sample) => Math.floor(Math.max(0, Math.min(sample - low, span - 1)) * kLevels / span);
}

// Each of 32 bins gets levels in proportion to the samples in it. With `damped` a bin that holds
// much of the picture is cut down, so that a plain background leaves levels to what is before it.
export function nonLinearGain(samples, width, referenceColumns, extremes, damped) {
  const low = Math.floor(extremes.min / kBlock) * kBlock;
  const span = Math.floor(extremes.max / kBlock) * kBlock + kBlock - low;
  const binWidth = span / kBins;
  const counts = new Array(kBins).fill(0);
  for (let line = 0; line + width <= samples.length; line += width) {
    for (let i = line + referenceColumns; i < line + width; ++i) {
      ++counts[Math.floor((samples[i] - low) / binWidth)];
    }
  }
  if (damped) dampPeaks(counts, samples.length);
  const segments = segmentsOf(counts);
  return (sample) => {
    const offset = Math.max(0, Math.min(sample - low, span - 1));
    const { base, slope } = segments[Math.floor(offset / binWidth)];
    return Math.min(base + Math.floor(offset % binWidth * slope / binWidth), kLevels - 1);
  };
}

function dampPeaks(counts, pixels) {
  const threshold = Math.floor(pixels * kPeakShare);
  if (!counts.some((count) => count > threshold)) return;
  counts.forEach((count, i) => {
    counts[i] = (count > threshold ? Math.floor(count / kPeakDivisor) : count) + kDampedBonus;
  });
}

function segmentsOf(counts) {
  const total = counts.reduce((sum, count) => sum + count, 0);
  let base = 0;
  return counts.map((count) => {
    const slope = Math.floor(count * kLevels / total);
    const segment = { base, slope };
    base += slope;
    return segment;
  });
}

// The colours of all samples from first to last, so that a pixel costs one look-up.
export function colourTable(gain, palette, first, last) {
  const colours = new Uint32Array(last - first + 1);
  for (let sample = first; sample <= last; ++sample) colours[sample - first] = palette[gain(sample)];
  return colours;
}
