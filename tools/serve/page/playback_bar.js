// Time line, pause, steps and speed of a recording.

import { byId, setText, setValue } from './dom.js';
import { clockText } from './quantities.js';

const kSeekStepMs = 50;  // a dragged time line asks no oftener

export class PlaybackBar {
  constructor(currentFeed) {
    this.currentFeed = currentFeed;
    this.isDragging = false;
    this.lastSeek = 0;
    this.timeLine = byId('time-line');
    byId('play').addEventListener('click', () => this.toggle());
    byId('step-back').addEventListener('click', () => this.step(-1));
    byId('step-on').addEventListener('click', () => this.step(1));
    byId('speed').addEventListener('change', (event) => this.send({ speed: Number(event.target.value) }));
    this.timeLine.addEventListener('input', () => {
      this.isDragging = true;
      clearTimeout(this.seekTimer);
      const wait = this.lastSeek + kSeekStepMs - performance.now();
      this.seekTimer = setTimeout(() => this.seek(), Math.max(0, wait));
    });
    // The last place counts, also when it came too soon after the one before.
    this.timeLine.addEventListener('change', () => {
      this.isDragging = false;
    });
  }

  send(message) { this.currentFeed()?.control(message); }

  seek() {
    this.lastSeek = performance.now();
    this.send({ seek: Number(this.timeLine.value) });
  }

  step(by) { this.send({ step: by }); }

  toggle() {
    const playback = this.currentFeed()?.playback;
    if (playback) this.send({ pause: !(playback.paused || playback.atEnd) });
  }

  show(feed) {
    byId('playback').hidden = !feed?.isRecording;
    if (!feed?.isRecording) return;
    const { playback } = feed;
    const length = playback?.length ?? feed.info.length ?? 0;
    const position = playback?.position ?? 0;
    this.timeLine.max = String(length || 1);
    if (!this.isDragging) this.timeLine.value = String(position);
    this.timeLine.setAttribute('aria-valuetext', `${clockText(position)} of ${clockText(length)}`);
    setText(byId('position'), `${clockText(position)} / ${clockText(length)}`);
    const isPlaying = playback && !playback.paused && !playback.atEnd;
    setText(byId('play'), isPlaying ? '❚❚' : '▶');
    byId('play').setAttribute('aria-label', isPlaying ? 'Pause' : 'Play');
    if (playback?.speed) setValue(byId('speed'), playback.speed);
  }
}
