// Recording on the server, and files of the frame that is shown.

import { byId, setText } from './dom.js';
import { attempt, toast } from './messages.js';
import { preferences } from './preferences.js';
import { bytesText, clockText, countText } from './quantities.js';
import { savePicture, saveSixteenBits, saveTable } from './saving.js';

export class SavePanel {
  constructor(api, currentFeed) {
    this.api = api;
    this.currentFeed = currentFeed;
    byId('record').addEventListener('click', () => this.record());
    for (const id of ['save-picture', 'save-sixteen', 'save-table']) {
      byId(id).addEventListener('click', (event) => this.saveFromPage(event, id));
    }
  }

  // Starts a recording of the current camera, or ends the one that runs.
  record() {
    const feed = this.currentFeed();
    if (!feed || feed.isRecording) return;
    const path = `sources/${encodeURIComponent(feed.id)}/recording`;
    attempt(async () => {
      if (!feed.info.recording) {
        feed.takeInfo({ recording: await this.api.post(path, {}) });
        return;
      }
      const done = await this.api.remove(path);
      feed.takeInfo({ recording: null });
      if (done) toast(done.error || `${done.name}: ${countText(done.frames)} frames, ${bytesText(done.bytes)}`);
    });
  }

  // Of a recording the server cannot know which frame this viewer sees.
  saveFromPage(event, id) {
    const feed = this.currentFeed();
    if (feed?.frame && !feed.isRecording) return;
    event.preventDefault();
    if (!feed?.frame) return;
    const name = `${feed.id.replace(/\.y4m$/, '')}-${feed.frame.number}`;
    if (id === 'save-picture') savePicture(byId('picture'), name);
    else if (id === 'save-table') saveTable(feed.frame, name);
    else attempt(() => saveSixteenBits(feed.frame, name));
  }

  show(feed, turns) {
    this.showRecording(feed);
    const { palette, gain, rangeLow, rangeHigh } = preferences;
    const options = new URLSearchParams({ palette, gain, scale: '4', bar: '1' });
    if (gain === 'manual') options.set('range', `${rangeLow}:${rangeHigh}`);
    if (turns) options.set('turn', turns);
    const path = `/api/v1/sources/${encodeURIComponent(feed.id)}`;
    for (const [id, href] of [['save-picture', `${path}/snapshot.png?${options}`],
      ['save-sixteen', `${path}/snapshot16.png`], ['save-table', `${path}/snapshot.csv`]]) {
      const link = byId(id);
      const target = feed.isRecording || !feed.frame ? '#' : href;
      if (link.getAttribute('href') !== target) link.setAttribute('href', target);
      link.setAttribute('aria-disabled', String(!feed.frame));
    }
  }

  showRecording({ info: { recording }, isRecording }) {
    byId('record').disabled = isRecording;
    byId('record').setAttribute('aria-pressed', String(Boolean(recording)));
    setText(byId('record'), recording ? 'Stop' : 'Record');
    setText(byId('record-figures'), recording
      ? recording.error || `${clockText(recording.seconds)} · ${countText(recording.frames)} frames · ${bytesText(recording.bytes)}`
      : 'not recording');
    byId('record-figures').classList.toggle('error', Boolean(recording?.error));
    byId('record-figures').title = recording?.name ?? '';
  }
}
