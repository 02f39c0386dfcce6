// One source as this viewer follows it: its newest frame, state, spots and their history.

import { Connection } from './connection.js';
import { extremesOf } from './gain.js';
import { kMostSpots, measure } from './measuring.js';

const kHistoryStepMs = 100;
const kHistoryMs = 30 * 60 * 1000;
const kRateMs = 2000;
const kArrivals = 1024;

export class Feed {
  // changed(feed, what): 'frame', 'state', 'playback' or 'spots'.
  constructor(info, path, { api, changed, onRefused, isShared = true }) {
    this.info = info;
    this.id = info.id;
    this.api = api;
    this.changed = changed;
    this.isShared = isShared;  // the server keeps its spots and makes its snapshots
    this.isConnected = false;
    this.wasConnected = false;
    this.frame = null;
    this.playback = null;
    this.spots = info.spots ?? [];
    this.spotChanges = 0;  // sent and not answered yet
    this.keptSpots = null;  // those before a drag that is not over
    this.arrivals = [];
    this.clearHistory();
    this.connection = new Connection(path, {
      open: () => {
        this.isConnected = this.wasConnected = true;
        changed(this, 'state');
      },
      lost: () => {
        this.isConnected = false;
        changed(this, 'state');
      },
      text: (object) => this.takeText(object),
      frame: (frame) => this.takeFrame(frame),
    }, onRefused);
  }

  get isRecording() { return this.info.kind === 'recording'; }

  // What the viewer is told: the way to the server comes before the state of the camera.
  get state() {
    if (!this.isConnected) return this.wasConnected ? 'reconnecting' : 'connecting';
    if (this.isRecording && this.playback && this.info.state !== 'failed') {
      if (this.playback.atEnd) return 'ended';
      return this.playback.paused ? 'paused' : 'playing';
    }
    return this.info.state ?? 'waiting';
  }

  takeText(object) {
    if (object.type === 'playback') {
      this.playback = object;
      this.changed(this, 'playback');
    } else if (object.type === 'state') {
      this.takeInfo(object);
    }
  }

  takeInfo(info) {
    this.info = { ...this.info, ...info };
    // Spots that are on their way to the server are newer than those it tells of.
    if (this.isShared && info.spots && this.spotChanges === 0 && !this.keptSpots &&
        !sameSpots(info.spots, this.spots)) {
      this.setSpots(info.spots);
    }
    this.changed(this, 'state');
  }

  takeFrame(frame) {
    frame.extremes = extremesOf(frame.samples, frame.width, this.info.referenceColumns ?? 0);
    this.frame = frame;
    this.arrivals.push(performance.now());
    if (this.arrivals.length > kArrivals) this.arrivals.shift();
    this.recordHistory(frame);
    this.changed(this, 'frame');
  }

  // Frames per second that came in the last two seconds.
  arrivalRate() {
    const since = performance.now() - kRateMs;
    return this.arrivals.filter((at) => at >= since).length / (kRateMs / 1000);
  }

  control(message) { this.connection.send(message); }

  setSpots(spots) {
    const added = spots.map(({ name, x, y, width, height }) => ({ name, x, y, width, height }));
    // Lines of the chart go on for spots that stay, and begin anew for others.
    this.histories = added.map((spot) => {
      const before = this.spots.findIndex((old) => old.name === spot.name);
      return before < 0 ? new Map() : this.histories[before] ?? new Map();
    });
    this.spots = added;
    this.changed(this, 'spots');
  }

  // Shows what a drag would make of the spots.
  previewSpots(spots) {
    this.keptSpots ??= this.spots;
    this.setSpots(spots);
  }

  endPreview() {
    if (this.keptSpots) this.setSpots(this.keptSpots);
    this.keptSpots = null;
  }

  // Shows the change at once and shares it; what the server keeps counts.
  async changeSpots(spots) {
    this.keptSpots = null;
    this.setSpots(spots.slice(0, kMostSpots));
    if (!this.isShared) return;
    ++this.spotChanges;
    try {
      const keptSpots = await this.api.put(`sources/${encodeURIComponent(this.id)}/spots`, this.spots);
      if (this.spotChanges === 1 && Array.isArray(keptSpots)) this.setSpots(keptSpots);
    } finally {
      --this.spotChanges;
    }
  }

  clearHistory() {
    this.times = [];
    this.histories = this.spots.map(() => new Map());
  }

  recordHistory(frame) {
    const last = this.times.at(-1);
    if (last !== undefined && frame.time < last) this.clearHistory();  // sought back, or began again
    if (!this.spots.length || frame.time - this.times.at(-1) < kHistoryStepMs) return;
    this.times.push(frame.time);
    this.spots.forEach((spot, i) => {
      const { min, max, mean } = measure(frame, spot);
      this.histories[i].set(frame.time, { min, max, mean });
    });
    while (this.times[0] < frame.time - kHistoryMs) {
      const oldest = this.times.shift();
      this.histories.forEach((history) => history.delete(oldest));
    }
  }

  close() { this.connection.close(); }
}

function sameSpots(a, b) {
  return a.length === b.length && a.every((spot, i) =>
    ['name', 'x', 'y', 'width', 'height'].every((key) => spot[key] === b[i][key]));
}

export function freeName(spots) {
  for (let n = 1; ; ++n) if (!spots.some(({ name }) => name === String(n))) return String(n);
}
