// Keys of the page. What each does is in its help.

import { byId } from './dom.js';

const kArrows = { ArrowLeft: { x: -1, y: 0 }, ArrowRight: { x: 1, y: 0 }, ArrowUp: { x: 0, y: -1 }, ArrowDown: { x: 0, y: 1 } };

// acts: has() → {source, recording, spot} that there are to act on; and what keys do.
export function bindKeys(acts) {
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || document.querySelector('dialog[open]')) return;
    const { target } = event;
    // Keys that a control under the cursor needs itself stay its own.
    if (target.matches('input[type=text], input[type=number], input[type=password], select, textarea')) return;
    const act = actOf(event, acts);
    if (!act) return;
    event.preventDefault();
    act();
  });
}

function actOf({ key, target, shiftKey }, acts) {
  if (key === '?') return () => byId('help').showModal();
  const has = acts.has();
  if (!has.source) return undefined;
  const isArrow = key in kArrows && !target.matches('input[type=range]');
  if (isArrow && has.spot) return () => acts.move(kArrows[key], shiftKey ? 10 : 1);
  if (isArrow && has.recording && kArrows[key].x) return () => acts.step(kArrows[key].x);
  if (/^[1-9]$/.test(key)) return () => acts.choose(Number(key) - 1);
  switch (key) {
    case 'p': return acts.nextPalette;
    case 'g': return acts.nextGain;
    case 'r': return acts.record;
    case 's': return () => byId('save-picture').click();
    case ' ': return has.recording && !target.matches('button, a, input[type=checkbox]') ? acts.togglePlay : undefined;
    case 'Delete':
    case 'Backspace': return has.spot ? acts.remove : undefined;
    case 'Escape': return acts.deselect;
    default: return undefined;
  }
}
