// The source's identity, and the settings of its decode chain that its model has.

import { byId, make, setText, setValue } from './dom.js';
import { countText } from './quantities.js';

const kSettings = [
  { key: 'noiseFilter', text: 'Noise filter', kind: 'number', note: '0 is off' },
  { key: 'undistortion', text: 'Undo lens distortion' },
  { key: 'circumference', text: 'Correct for the camera’s own warmth' },
  { key: 'window', text: 'Correct for the window' },
  { key: 'upsideDown', text: 'Mounted upside down' },
];

export class Settings {
  // change(settings) sends them and resolves to all of them afterwards.
  constructor(change) {
    this.change = change;
    this.box = byId('settings');
    this.facts = byId('identity');
    this.built = '';
    this.inputs = new Map();
  }

  show(feed) {
    const { info } = feed;
    this.showFacts(info, feed.frame);
    // A recording that is played from the list is no source that settings could be sent to.
    const available = kSettings.filter(({ key }) => feed.isShared && info.available?.includes(key));
    const built = `${feed.id} ${available.map(({ key }) => key)}`;
    if (built !== this.built) {
      this.built = built;
      this.inputs.clear();
      this.box.replaceChildren(...available.map((setting) => this.rowOf(setting)));
    }
    for (const [key, input] of this.inputs) {
      if (input.isPending) continue;
      if (input.type === 'checkbox') input.checked = Boolean(info.settings?.[key]);
      else setValue(input, info.settings?.[key] ?? 0);
    }
  }

  rowOf({ key, text, kind, note }) {
    const input = kind === 'number'
      ? make('input', { type: 'number', min: 0, max: 100, step: 1, 'data-test': `setting-${key}` })
      : make('input', { type: 'checkbox', 'data-test': `setting-${key}` });
    input.addEventListener('change', async () => {
      if (!input.checkValidity() || input.value === '') return;
      input.isPending = true;
      try {
        await this.change({ [key]: kind === 'number' ? Number(input.value) : input.checked });
      } finally {
        input.isPending = false;
      }
    });
    this.inputs.set(key, input);
    return kind === 'number'
      ? make('label', { className: 'setting-number' }, `${text} `, input, make('span', { className: 'hint', textContent: note }))
      : make('label', { className: 'check' }, input, ` ${text}`);
  }

  showFacts(info, frame) {
    const facts = [
      ['Product', [info.name && info.kind === 'camera' ? info.name : '', info.product].filter(Boolean).join(' ')],
      ['Serial', info.serial], ['Firmware', info.firmware],
      info.kind === 'recording' ? ['File', info.file ?? info.name] : ['Device', info.node],
      ['Size', info.width ? `${info.width} × ${info.height}` : ''],
      ['Frame', frame ? countText(frame.number) : ''],
      info.kind === 'recording' ? ['Frames', countText(info.frameCount)] : ['Viewers', info.viewers],
    ];
    if (this.facts.children.length !== facts.length) {
      this.facts.replaceChildren(...facts.map(() => make('div', {}, make('dt'), make('dd', { className: 'ellipsis' }))));
    }
    facts.forEach(([term, value], i) => {
      const [dt, dd] = this.facts.children[i].children;
      setText(dt, term);
      setText(dd, value === undefined || value === null || value === '' ? '–' : String(value));
    });
  }
}
