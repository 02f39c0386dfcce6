// Temperatures: from samples to degrees Celsius, and from those to what the viewer reads.

export const kZeroCelsius = 273.15;

const kUnits = {
  C: { sign: '°C', factor: 1, offset: 0 },
  F: { sign: '°F', factor: 1.8, offset: 32 },
  K: { sign: 'K', factor: 1, offset: kZeroCelsius },
};

export const celsiusOf = (sample, resolution) => sample / resolution - kZeroCelsius;
export const sampleOf = (celsius, resolution) => Math.round((celsius + kZeroCelsius) * resolution);

export const signOf = (unit) => kUnits[unit].sign;
export const inUnit = (celsius, unit) => celsius * kUnits[unit].factor + kUnits[unit].offset;
export const fromUnit = (value, unit) => (value - kUnits[unit].offset) / kUnits[unit].factor;

// With a true minus sign, which is as wide as a digit in tabular figures.
export function numberText(celsius, unit, digits = 1) {
  if (celsius == null || !Number.isFinite(celsius)) return '–';
  const text = inUnit(celsius, unit).toFixed(digits);
  return (Number(text) === 0 ? text.replace('-', '') : text).replace('-', '\u2212');
}

export function temperatureText(celsius, unit, digits = 1) {
  const number = numberText(celsius, unit, digits);
  return number === '–' ? number : `${number} ${signOf(unit)}`;
}

// Round values from low to high, at most `most` of them, and the digits that tell them apart.
export function roundTicks(low, high, most) {
  const span = high - low;
  if (!(span > 0) || most < 1) return { ticks: [], digits: 1 };
  const power = 10 ** Math.floor(Math.log10(span / most));
  const step = [1, 2, 5, 10].map((factor) => factor * power).find((size) => span / size <= most);
  const digits = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
  const ticks = [];
  for (let k = Math.ceil(low / step - 1e-9); k * step <= high + step * 1e-9; ++k) ticks.push(k * step);
  return { ticks, digits };
}
