// The list of the recordings in the server's folder.

import { byId, make } from './dom.js';
import { bytesText, clockText, countText } from './quantities.js';

export class Recordings {
  constructor(api, play) {
    this.api = api;
    this.play = play;
    this.list = byId('recordings');
    this.shown = '';
  }

  async refresh() {
    const entries = await this.api.get('recordings');
    const shown = JSON.stringify(entries);
    if (shown === this.shown) return;
    this.shown = shown;
    this.list.replaceChildren(...(entries.length ? entries.map((entry) => this.entryOf(entry))
      : [make('li', { className: 'hint', textContent: 'None yet. Record starts one.' })]));
    this.mark(this.marked);
  }

  mark(name) {
    this.marked = name;
    for (const item of this.list.children) item.classList.toggle('current', item.dataset.name === name);
  }

  entryOf(entry) {
    const path = `/api/v1/recordings/${encodeURIComponent(entry.name)}`;
    const play = make('button', { type: 'button', className: 'recording-play', 'data-test': 'recording-play',
      'aria-label': `Play ${entry.name}` },
      make('img', { src: `${path}/thumbnail.png`, alt: '', width: 72, height: 54, loading: 'lazy' }),
      make('span', { className: 'recording-text' },
        make('b', { className: 'ellipsis', textContent: entry.name }),
        make('span', { textContent: [clockText(entry.seconds), `${countText(entry.frames)} frames`,
          bytesText(entry.bytes)].join(' · ') }),
        make('span', { className: entry.damaged ? 'error' : '',
          textContent: entry.damaged ? 'damaged, plays in part' : timeText(entry.time) })));
    play.addEventListener('click', () => this.play(entry));
    const item = make('li', {}, play,
      make('a', { className: 'button icon', href: path, download: entry.name, title: 'Save the file',
        'aria-label': `Save ${entry.name}`, textContent: '↓' }));
    item.dataset.name = entry.name;
    item.dataset.test = 'recording-entry';
    return item;
  }
}

function timeText(time) {
  const date = new Date(time);
  return Number.isNaN(date.getTime()) ? String(time ?? '')
    : date.toLocaleString(undefined, { dateStyle: 'medium', timeStyle: 'short' });
}
