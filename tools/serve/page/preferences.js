// What this viewer chose, kept in the browser.

const kKey = 'zocam.preferences';

export const preferences = {
  palette: 'iron', gain: 'linear', unit: 'C', theme: '', smooth: true, extremes: true,
  rangeLow: 15, rangeHigh: 40, turns: {},
  chartValue: 'mean', chartSpan: 120,
  alarmAbove: false, alarmHigh: 60, alarmBelow: false, alarmLow: 5, alarmWatch: 'picture', alarmSound: false,
  ...kept(),
};

function kept() {
  try {
    return JSON.parse(localStorage.getItem(kKey)) ?? {};
  } catch {
    return {};
  }
}

export function prefer(changes) {
  Object.assign(preferences, changes);
  try {
    localStorage.setItem(kKey, JSON.stringify(preferences));
  } catch {
    // A browser that keeps nothing still shows pictures.
  }
}
