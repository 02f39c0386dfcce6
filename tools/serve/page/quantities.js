// Bytes, seconds and counts as they are read.

export function clockText(seconds) {
  const tenths = Math.round(Math.max(0, seconds || 0) * 10);
  const minutes = Math.floor(tenths / 600);
  return `${minutes}:${((tenths % 600) / 10).toFixed(1).padStart(4, '0')}`;
}

export function bytesText(bytes) {
  const units = ['B', 'kB', 'MB', 'GB', 'TB'];
  let value = bytes || 0;
  let unit = 0;
  while (value >= 999.95 && unit < units.length - 1) {
    value /= 1000;
    ++unit;
  }
  return `${unit ? value.toFixed(1) : value} ${units[unit]}`;
}

export const countText = (count) => (count ?? 0).toLocaleString('en').replaceAll(',', '\u202f');
