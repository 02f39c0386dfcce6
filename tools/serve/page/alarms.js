// The alarms of all sources: what their newest frames pass, the banner and the sound.

import { AlarmSound, passedLimits } from './alarm.js';
import { byId, setText } from './dom.js';
import { preferences } from './preferences.js';
import { temperatureText } from './temperature.js';

const limitsOf = (p) => ({
  above: p.alarmAbove, below: p.alarmBelow, high: p.alarmHigh, low: p.alarmLow, watch: p.alarmWatch,
});

export class Alarms {
  constructor() {
    this.passed = new WeakMap();  // feed → limits that its newest frame passes
    this.sound = new AlarmSound();
  }

  // With each frame that arrives, and so in pages that nobody looks at as well.
  check(feed, isCurrent) {
    const passed = passedLimits(feed.frame, feed.spots, limitsOf(preferences));
    this.passed.set(feed, passed);
    if (passed.length && preferences.alarmSound && (!feed.isRecording || isCurrent)) this.sound.sound();
  }

  prepareSound() { this.sound.prepare(); }

  // Of the chart.
  lines() {
    const { alarmAbove, alarmBelow, alarmHigh, alarmLow } = preferences;
    return [...(alarmAbove ? [alarmHigh] : []), ...(alarmBelow ? [alarmLow] : [])];
  }

  spotsOf(feed) { return new Set((this.passed.get(feed) ?? []).map(({ spot }) => spot)); }

  show(feed) {
    const passed = feed.state === 'live' || feed.isRecording ? this.passed.get(feed) ?? [] : [];
    const banner = byId('alarm-banner');
    banner.hidden = passed.length === 0;
    byId('picture-frame').classList.toggle('alarmed', passed.length > 0);
    if (!passed.length) return;
    const [{ name, celsius, limit, isAbove }] = passed;
    const { unit } = preferences;
    setText(banner, `${name}: ${temperatureText(celsius, unit)}, ${isAbove ? 'above' : 'below'} ${temperatureText(limit, unit)}${
      passed.length > 1 ? ` and ${passed.length - 1} more` : ''}`);
  }
}
