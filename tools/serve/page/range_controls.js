// The ends of the manual range: a slider and a number for each.

import { byId, setValue } from './dom.js';
import { fromUnit, inUnit } from './temperature.js';

const kLowest = -20;  // °C; both grow with what is typed
const kHighest = 120;
const kLeastSpan = 0.5;

export class RangeControls {
  // change({rangeLow, rangeHigh}), °C
  constructor(change) {
    this.change = change;
    this.ends = ['low', 'high'].map((end) => ({
      end, number: byId(`range-${end}`), slider: byId(`range-${end}-slider`),
    }));
    for (const { end, number, slider } of this.ends) {
      slider.step = 'any';
      slider.addEventListener('input', () => this.take(end, Number(slider.value)));
      number.addEventListener('input', () => {
        if (number.value !== '' && number.checkValidity()) this.take(end, fromUnit(Number(number.value), this.unit));
      });
    }
  }

  take(end, celsius) {
    const value = Math.round(celsius * 100) / 100;
    // The end that is moved pushes the other one.
    this.change(end === 'low'
      ? { rangeLow: value, rangeHigh: Math.max(this.high, value + kLeastSpan) }
      : { rangeHigh: value, rangeLow: Math.min(this.low, value - kLeastSpan) });
  }

  show({ rangeLow, rangeHigh, unit, gain }) {
    Object.assign(this, { low: rangeLow, high: rangeHigh, unit });
    for (const { end, number, slider } of this.ends) {
      const celsius = end === 'low' ? rangeLow : rangeHigh;
      number.parentElement.classList.toggle('idle', gain !== 'manual');
      slider.min = String(Math.min(kLowest, rangeLow));
      slider.max = String(Math.max(kHighest, rangeHigh));
      slider.value = String(celsius);
      setValue(number, Number(inUnit(celsius, unit).toFixed(1)));
    }
  }
}
