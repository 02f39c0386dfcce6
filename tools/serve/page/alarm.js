// The alarm: which limits are passed, and the sound that says so.

import { measure } from './measuring.js';
import { celsiusOf } from './temperature.js';

const kSoundEveryMs = 1500;
const kSoundHz = 880;
const kSoundSeconds = 0.18;

// {above, below, high, low, watch: 'picture' or 'spots'} on a frame → [{name, spot, celsius, limit,
// isAbove}]; spot is an index, or -1 for the picture.
export function passedLimits(frame, spots, limits) {
  if (!frame?.extremes || !(limits.above || limits.below)) return [];
  const places = limits.watch === 'spots'
    ? spots.map((spot, i) => ({ name: spot.name, spot: i, ...measure(frame, spot) }))
    : [{ name: 'picture', spot: -1, min: celsiusOf(frame.extremes.min, frame.resolution),
      max: celsiusOf(frame.extremes.max, frame.resolution) }];
  const passed = [];
  for (const { name, spot, min, max } of places) {
    if (limits.above && max > limits.high) passed.push({ name, spot, celsius: max, limit: limits.high, isAbove: true });
    if (limits.below && min < limits.low) passed.push({ name, spot, celsius: min, limit: limits.low, isAbove: false });
  }
  return passed;
}

export class AlarmSound {
  constructor() { this.last = -Infinity; }

  // Browsers let a page sound only after it was touched: called from the switch itself.
  prepare() {
    this.audio ??= new AudioContext();
    this.audio.resume();
  }

  sound() {
    const now = performance.now();
    if (now - this.last < kSoundEveryMs) return;
    this.last = now;
    this.prepare();
    const at = this.audio.currentTime;
    const tone = this.audio.createOscillator();
    const volume = this.audio.createGain();
    tone.frequency.value = kSoundHz;
    volume.gain.setValueAtTime(0, at);
    volume.gain.linearRampToValueAtTime(0.2, at + 0.01);
    volume.gain.exponentialRampToValueAtTime(0.001, at + kSoundSeconds);
    tone.connect(volume).connect(this.audio.destination);
    tone.start(at);
    tone.stop(at + kSoundSeconds);
  }
}
