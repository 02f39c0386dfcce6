// The table of spots and areas.

import { byId, make, setText, setValue } from './dom.js';
import { kMostSpots, measure } from './measuring.js';
import { colourOfSpot } from './spot_colours.js';
import { numberText } from './temperature.js';

const kLongestName = 24;

export class SpotsTable {
  // handlers: rename(index, name), remove(index), select(index), add(), clear().
  constructor(handlers) {
    this.handlers = handlers;
    this.body = byId('spots');
    byId('spot-add').addEventListener('click', () => handlers.add());
    byId('spots-clear').addEventListener('click', () => handlers.clear());
  }

  show(feed, { unit, selected, alarmed }) {
    const { spots, frame } = feed;
    while (this.body.children.length > spots.length) this.body.lastChild.remove();
    while (this.body.children.length < spots.length) this.body.append(this.rowOf(this.body.children.length));
    spots.forEach((spot, i) => {
      const row = this.body.children[i];
      const [name, min, mean, max] = row.children;
      row.classList.toggle('selected', i === selected);
      row.classList.toggle('alarmed', alarmed.has(i));
      setValue(name.lastChild, spot.name);
      const values = frame ? measure(frame, spot) : {};
      const isSpot = spot.width * spot.height === 1;
      setText(min, isSpot ? '' : numberText(values.min, unit));
      setText(mean, numberText(values.mean, unit));
      setText(max, isSpot ? '' : numberText(values.max, unit));
      row.title = isSpot ? `x ${spot.x}, y ${spot.y}`
        : `x ${spot.x}, y ${spot.y}, ${spot.width} × ${spot.height} pixels`;
    });
    byId('spots-hint').hidden = spots.length > 0;
    byId('spot-add').disabled = spots.length >= kMostSpots;
    byId('spots-clear').disabled = spots.length === 0;
  }

  rowOf(index) {
    const name = make('input', { type: 'text', maxLength: kLongestName, 'aria-label': 'Name', 'data-test': 'spot-name' });
    name.addEventListener('change', () => this.handlers.rename(index, name.value.trim()));
    const swatch = make('i', { className: 'swatch' });
    swatch.style.background = colourOfSpot(index);
    const remove = make('button', { type: 'button', className: 'icon quiet', 'aria-label': 'Remove',
      'data-test': 'spot-remove', textContent: '×' });
    remove.addEventListener('click', () => this.handlers.remove(index));
    const row = make('tr', { 'data-test': 'spot' },
      make('td', {}, swatch, name), make('td', { 'data-test': 'spot-min' }),
      make('td', { className: 'main', 'data-test': 'spot-value' }), make('td', { 'data-test': 'spot-max' }),
      make('td', {}, remove));
    row.addEventListener('pointerdown', () => this.handlers.select(index));
    return row;
  }
}
