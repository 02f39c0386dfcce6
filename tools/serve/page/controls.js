// The switches and choices that a page keeps for itself: the look, the chart, the alarm.

import { byId, setText, setValue } from './dom.js';
import { preferences } from './preferences.js';
import { fromUnit, inUnit, signOf } from './temperature.js';

// Element → preference.
const kChoices = [['unit', 'unit'], ['theme', 'theme'], ['palette', 'palette'], ['gain', 'gain'],
  ['chart-value', 'chartValue'], ['chart-span', 'chartSpan'], ['alarm-watch', 'alarmWatch']];
const kSwitches = [['smooth', 'smooth'], ['extremes', 'extremes'], ['alarm-above', 'alarmAbove'],
  ['alarm-below', 'alarmBelow'], ['alarm-sound', 'alarmSound']];
const kLimits = [['alarm-high', 'alarmHigh'], ['alarm-low', 'alarmLow']];

// Calls change({preference: value}), and prepareSound() from within the click that allows it.
export function bindControls({ change, prepareSound }) {
  for (const [id, key] of kChoices) {
    byId(id).addEventListener('change', ({ target }) => change({ [key]: target.value }));
  }
  for (const [id, key] of kSwitches) {
    byId(id).addEventListener('change', ({ target }) => {
      if (key === 'alarmSound' && target.checked) prepareSound();
      change({ [key]: target.checked });
    });
  }
  for (const [id, key] of kLimits) {
    byId(id).addEventListener('input', ({ target }) => {
      if (target.value !== '') change({ [key]: fromUnit(Number(target.value), preferences.unit) });
    });
  }
}

export function showControls(turns) {
  const root = document.documentElement;
  if (preferences.theme) root.dataset.theme = preferences.theme;
  else delete root.dataset.theme;
  for (const [id, key] of kChoices) byId(id).value = String(preferences[key]);
  for (const [id, key] of kSwitches) byId(id).checked = preferences[key];
  for (const [id, key] of kLimits) setValue(byId(id), Number(inUnit(preferences[key], preferences.unit).toFixed(1)));
  byId('turn-over').setAttribute('aria-pressed', String(turns >= 2));
  for (const element of document.querySelectorAll('.unit')) setText(element, signOf(preferences.unit));
}
