// All sources side by side, each with its small live picture; one of them is the large one.

import { byId, make, setText } from './dom.js';
import { Painter } from './painter.js';
import { celsiusOf, temperatureText } from './temperature.js';

// Cameras of one name are told apart by the ends of their serial numbers.
function nameAmong(feeds, { id, info }) {
  const hasTwin = feeds.some((other) => other.id !== id && other.info.name === info.name);
  return hasTwin || !info.name ? `${info.product ?? ''} …${id.slice(-4)}`.trim() : info.name;
}

export class SourceStrip {
  constructor(select) {
    this.select = select;
    this.box = byId('sources');
    this.tiles = new Map();
  }

  show(feeds, current, unit) {
    for (const [feed, tile] of this.tiles) {
      if (feeds.includes(feed)) continue;
      tile.button.remove();
      this.tiles.delete(feed);
    }
    for (const feed of feeds) {
      const tile = this.tiles.get(feed) ?? this.add(feed);
      if (tile.isCurrent !== (feed === current)) {
        tile.isCurrent = feed === current;
        tile.button.setAttribute('aria-pressed', String(tile.isCurrent));
        // Sideways only: the page itself stays where the viewer scrolled it.
        if (tile.isCurrent) this.box.scrollLeft = tile.button.offsetLeft - this.box.offsetLeft - this.box.clientWidth / 3;
      }
      tile.dot.dataset.state = feed.state;
      setText(tile.name, nameAmong(feeds, feed));
      const hottest = feed.frame?.extremes
        ? temperatureText(celsiusOf(feed.frame.extremes.max, feed.frame.resolution), unit) : '–';
      setText(tile.value, feed.state === 'live' || feed.isRecording ? `max ${hottest}` : feed.state);
    }
  }

  add(feed) {
    const canvas = make('canvas', { width: 1, height: 1, 'aria-hidden': 'true' });
    const dot = make('i', { className: 'dot' });
    const name = make('b', { className: 'ellipsis' });
    const value = make('span', { className: 'ellipsis' });
    const button = make('button', { type: 'button', className: 'source', 'data-test': 'source',
      title: `${feed.info.name ?? ''} ${feed.id}`.trim() },
      canvas, make('span', { className: 'source-text' }, make('span', { className: 'source-name' }, dot, name), value));
    button.addEventListener('click', () => this.select(feed));
    const tile = { button, canvas, dot, name, value, painter: new Painter() };
    this.box.append(button);
    this.tiles.set(feed, tile);
    return tile;
  }

  paint(feed, look) {
    const tile = this.tiles.get(feed);
    if (!tile || !feed.frame || !look.palette) return;
    tile.painter.paint(feed.frame, feed.info.referenceColumns ?? 0, look);
    const { canvas, painter } = tile;
    if (canvas.width !== feed.frame.width || canvas.height !== feed.frame.height) {
      canvas.width = feed.frame.width;
      canvas.height = feed.frame.height;
    }
    canvas.getContext('2d').drawImage(painter.canvas, 0, 0);
  }
}
