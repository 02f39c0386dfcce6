// The page: keeps the feeds, lets each part show the current one, and turns input into acts.

import { Alarms } from './alarms.js';
import { createApi } from './api.js';
import { Chart } from './chart.js';
import { bindControls, showControls } from './controls.js';
import { byId, setText } from './dom.js';
import { Feed, freeName } from './feed.js';
import { ImageView } from './image_view.js';
import { bindKeys } from './keys.js';
import { fitArea, kMostSpots } from './measuring.js';
import { attempt, notice, promptForToken, toast } from './messages.js';
import { imageDataColours, Painter } from './painter.js';
import { PlaybackBar } from './playback_bar.js';
import { prefer, preferences } from './preferences.js';
import { countText } from './quantities.js';
import { RangeControls } from './range_controls.js';
import { Recordings } from './recordings.js';
import { SavePanel } from './save_panel.js';
import { ScaleBar } from './scale_bar.js';
import { Settings } from './settings.js';
import { SourceStrip } from './source_strip.js';
import { SpotsTable } from './spots.js';
import { celsiusOf, temperatureText } from './temperature.js';

const kChartEveryMs = 200;
const kReadoutsEveryMs = 100;  // figures that change faster cannot be read
const kRecordingsEveryMs = 30000;
const kSourcesEveryMs = 3000;
const kGains = ['linear', 'nonlinear', 'manual'];
const kPalettes = ['iron', 'rainbow', 'gray'];
const kNotices = {
  connecting: ['Connecting', 'to the server'],
  waiting: ['Waiting for the first picture', 'The camera calibrates.'],
  silent: ['No picture for 2 seconds', 'The camera is connected but sends nothing.'],
  disconnected: ['Camera disconnected', 'The picture comes back when it is plugged in again.'],
  reconnecting: ['Server out of reach', 'Connecting again…'],
  failed: ['The source failed', ''],
};

// For measuring from outside of the page.
window.zocamStats = { framesShown: 0, lastNumber: -1, lastLatencyMs: NaN, droppedByViewer: 0 };

const api = createApi(promptForToken);
const palettes = {};
let feeds = [];
let played = null;  // the recording of the list that is played; one of `feeds`
let current = null;
let selected = -1;  // spot
let shownFrame = null;
let scale = null;
const unpainted = new Set();
let isScheduled = false;
let lateShow = 0;
let nextChart = 0;
let nextReadouts = 0;

const painter = new Painter();
const scaleBar = new ScaleBar(byId('scale-bar'));
const chart = new Chart(byId('chart'));
const alarms = new Alarms();
const strip = new SourceStrip((feed) => selectFeed(feed));
const settings = new Settings((change) => attempt(async () => {
  const feed = current;
  const all = await api.patch(`sources/${encodeURIComponent(feed.id)}/settings`, change);
  feed.takeInfo({ settings: all });
}));
const playback = new PlaybackBar(() => current);
const savePanel = new SavePanel(api, () => current);
const recordings = new Recordings(api, playRecording);
const range = new RangeControls((ends) => changeLook({ ...ends, gain: 'manual' }));
const spotsTable = new SpotsTable({
  rename: (i, name) => {
    if (name && !current.spots.some((spot, k) => k !== i && spot.name === name)) changeSpot(i, { name });
    schedule(current);
  },
  remove: removeSpot,
  select: selectSpot,
  add: () => current && addSpot({ x: current.info.width / 2, y: current.info.height / 2, width: 1, height: 1 }),
  clear: () => changeSpots([]),
});
const view = new ImageView(byId('picture-frame'), byId('picture'), byId('overlay'), {
  pointer: () => showPointer(),
  add: addSpot,
  select: selectSpot,
  move: (i, area, isDone) => {
    if (isDone) changeSpot(i, area);
    else current.previewSpots(current.spots.map((spot, k) => (k === i ? { ...spot, ...area } : spot)));
  },
  cancel: () => current.endPreview(),
});

// --- feeds

function follow(info, path, isShared) {
  return new Feed(info, path, {
    api, isShared, changed: feedChanged,
    onRefused: () => api.get('sources'),  // asks for the token when that is what is missing
  });
}

function feedChanged(feed, what) {
  if (what === 'frame') alarms.check(feed, feed === current);
  if (what === 'playback') holdUnseen(feed);
  if (what === 'state' && feed.wasRecording && !feed.info.recording) attempt(() => recordings.refresh());
  feed.wasRecording = Boolean(feed.info.recording);
  if (what !== 'frame') nextReadouts = 0;
  if (what === 'spots') nextChart = 0;
  schedule(feed);
}

// Also those that come later: cameras are plugged in while the server runs.
function showSources({ sources }) {
  const added = sources.filter(({ id }) => !feeds.some((feed) => feed.id === id))
    .map((info) => follow(info, `/api/v1/sources/${encodeURIComponent(info.id)}/frames`, true));
  feeds = [...feeds.filter((feed) => feed !== played), ...added, ...(played ? [played] : [])];
  if (current) return;
  const wanted = decodeURIComponent(location.hash.slice(1));
  selectFeed(feeds.find(({ id }) => id === wanted) ?? feeds.find((feed) => !feed.isRecording) ?? feeds[0] ?? null);
  if (!feeds.length) notice('No camera', 'It is shown here once it is plugged in.');
}

function selectFeed(feed) {
  if (feed === current) return;
  view.cancel();
  current = feed;
  selected = -1;
  shownFrame = null;
  scale = null;
  if (!feed) return;
  if (feed.isHeld) feed.control({ pause: false });
  feed.isHeld = false;
  if (feed !== played) history.replaceState(null, '', `#${encodeURIComponent(feed.id)}`);
  shape();
  if (!feed.frame) view.clear();
  recordings.mark(feed === played ? feed.id : undefined);
  showLook();
  repaint();
}

// A recording goes on only while it is looked at.
function holdUnseen(feed) {
  if (feed === current || feed.playback.paused || feed.playback.atEnd) return;
  feed.control({ pause: true });
  feed.isHeld = true;
}

function playRecording(entry) {
  if (played?.id === entry.name) {
    selectFeed(played);
    return;
  }
  const before = played;
  played = follow({
    id: entry.name, name: entry.name, kind: 'recording', product: entry.product, serial: entry.serial,
    length: entry.seconds, frameCount: entry.frames, width: entry.width ?? 160, height: entry.height ?? 120,
    state: 'waiting',
  }, `/api/v1/recordings/${encodeURIComponent(entry.name)}/frames`, false);
  feeds = [...feeds.filter((feed) => feed !== before), played];
  selectFeed(played);
  before?.close();
  byId('picture').scrollIntoView({ block: 'nearest', behavior: 'smooth' });
}

// --- showing

function schedule(feed) {
  if (feed) unpainted.add(feed);
  requestShow();
}

function requestShow() {
  if (isScheduled) return;
  isScheduled = true;
  requestAnimationFrame(show);
}

function repaint() {
  nextChart = nextReadouts = 0;
  shownFrame = null;
  feeds.forEach((feed) => schedule(feed));
}

const lookOf = (feed) => ({
  palette: palettes[preferences.palette], gain: preferences.gain,
  low: preferences.rangeLow, high: preferences.rangeHigh, damped: Boolean(feed.info.settings?.window),
});

function show() {
  isScheduled = false;
  const now = performance.now();
  for (const feed of unpainted) {
    if (feed.stripFrame !== feed.frame || shownFrame === null) strip.paint(feed, lookOf(feed));
    feed.stripFrame = feed.frame;
  }
  const isUnpainted = unpainted.has(current);
  unpainted.clear();
  if (now >= nextReadouts) {
    nextReadouts = now + kReadoutsEveryMs;
    strip.show(feeds, current, preferences.unit);
    if (current) showReadouts();
  }
  if (!current) return;
  if (isUnpainted) showPicture();
  if (now >= nextChart) {
    nextChart = now + kChartEveryMs;
    chart.show(current, {
      value: preferences.chartValue, span: Number(preferences.chartSpan), unit: preferences.unit, limits: alarms.lines(),
    });
  }
  // What was held back is shown when its time comes, also when no other frame does.
  if (!lateShow && isUnpainted) {
    lateShow = setTimeout(() => {
      lateShow = 0;
      requestShow();
    }, Math.max(nextReadouts, nextChart) - now);
  }
}

function showPicture() {
  const { frame } = current;
  const palette = palettes[preferences.palette];
  if (frame && palette) {
    if (frame.width !== current.info.width || frame.height !== current.info.height) {
      Object.assign(current.info, { width: frame.width, height: frame.height });
    }
    shape();
    if (frame !== shownFrame) {
      scale = painter.paint(frame, current.info.referenceColumns ?? 0, lookOf(current));
      if (current.countedFrame !== frame) countShown(frame);
      current.countedFrame = frame;
      shownFrame = frame;
      if (frame.extremes) view.show(painter.canvas, preferences.smooth);
    }
  }
  scaleBar.show(scale, preferences.unit);
  view.showMarks(frame, {
    spots: current.spots, selected, alarmed: alarms.spotsOf(current), unit: preferences.unit, showExtremes: preferences.extremes,
  });
}

function countShown(frame) {
  const stats = window.zocamStats;
  ++stats.framesShown;
  stats.lastNumber = frame.number;
  stats.droppedByViewer = frame.droppedByViewer;
  stats.lastLatencyMs = current.isRecording ? NaN : performance.timeOrigin + performance.now() - frame.time;
}

function shape() {
  const { width, height } = current.info;
  view.setShape(width || 160, height || 120, preferences.turns[current.id] ?? 0);
}

function showReadouts() {
  const { info, frame } = current;
  const { unit } = preferences;
  setText(byId('source-name'), info.name || current.id);
  const { state } = current;
  setText(byId('state'), state);
  byId('state').dataset.state = state;
  const rate = current.isRecording ? current.arrivalRate() : info.framesPerSecond ?? 0;
  setText(byId('frame-rate'), state in kNotices ? '–' : rate.toFixed(1));
  setText(byId('dropped'), countText(frame?.dropped ?? info.dropped));
  byId('dropped').title = `${countText(frame?.droppedByViewer)} more that this page was too slow for`;
  const [title, text] = kNotices[state] ?? [];
  notice(title, info.message && (state === 'failed' || state === 'disconnected') ? info.message : text);
  const { extremes } = frame ?? {};
  const textOf = (sample) => (extremes ? temperatureText(celsiusOf(sample, frame.resolution), unit) : '–');
  setText(byId('picture-max'), textOf(extremes?.max));
  setText(byId('picture-min'), textOf(extremes?.min));
  setText(byId('picture-mean'), textOf(extremes?.mean));
  showPointer();
  spotsTable.show(current, { unit, selected, alarmed: alarms.spotsOf(current) });
  settings.show(current);
  playback.show(current);
  savePanel.show(current, view.turns);
  alarms.show(current);
}

function showPointer() {
  const place = view.pointerPlace;
  const frame = current?.frame;
  const isOn = place && frame && place.x < frame.width && place.y < frame.height;
  setText(byId('pointer-place'), isOn ? `${place.x}, ${place.y}` : '');
  setText(byId('pointer'), isOn
    ? temperatureText(celsiusOf(frame.samples[place.y * frame.width + place.x], frame.resolution), preferences.unit) : '–');
}

// --- acts

function changeLook(changes) {
  prefer(changes);
  showLook();
  repaint();
}

const changeSpots = (spots) => attempt(() => current.changeSpots(spots));

function changeSpot(index, changes) {
  changeSpots(current.spots.map((spot, i) => (i === index ? { ...spot, ...changes } : spot)));
}

function addSpot(area) {
  if (current.spots.length >= kMostSpots) {
    toast(`${kMostSpots} spots and areas are the most.`);
    return;
  }
  const { info } = current;
  const spot = { name: freeName(current.spots), ...fitArea({ ...area, x: Math.floor(area.x), y: Math.floor(area.y) }, info.width, info.height) };
  changeSpots([...current.spots, spot]);
  selectSpot(current.spots.length - 1);
}

function removeSpot(index) {
  selected = -1;
  changeSpots(current.spots.filter((_, i) => i !== index));
}

function selectSpot(index) {
  selected = index;
  nextReadouts = 0;
  schedule(current);
}

function turn(quarters) {
  if (!current) return;
  const turns = ((preferences.turns[current.id] ?? 0) + quarters) % 4;
  prefer({ turns: { ...preferences.turns, [current.id]: turns } });
  shape();
  showLook();
  repaint();
}

// As it looks on the screen, however the picture is turned.
function moveSelected({ x, y }, by) {
  let step = { x, y };
  for (let i = 0; i < view.turns; ++i) step = { x: step.y, y: -step.x };
  const spot = current.spots[selected];
  const { name, ...area } = fitArea({ ...spot, x: spot.x + step.x * by, y: spot.y + step.y * by }, current.info.width, current.info.height);
  changeSpot(selected, area);
}

// --- controls

const after = (list, value) => list[(list.indexOf(value) + 1) % list.length];

function showLook() {
  showControls(preferences.turns[current?.id] ?? 0);
  range.show(preferences);
}

function bind() {
  bindControls({ change: changeLook, prepareSound: () => alarms.prepareSound() });
  byId('range-take').addEventListener('click', () => {
    const { extremes, resolution } = current?.frame ?? {};
    if (!extremes) return;
    const round = (sample) => Math.round(celsiusOf(sample, resolution) * 10) / 10;
    changeLook({ rangeLow: round(extremes.min), rangeHigh: round(extremes.max), gain: 'manual' });
  });
  byId('rotate').addEventListener('click', () => turn(1));
  byId('turn-over').addEventListener('click', () => turn(2));
  byId('chart-clear').addEventListener('click', () => {
    current?.clearHistory();
    repaint();
  });
  byId('help-open').addEventListener('click', () => byId('help').showModal());
  // Without the token nothing can be shown: the prompt stays.
  byId('token-dialog').addEventListener('cancel', (event) => event.preventDefault());
  bindKeys({
    has: () => ({
      source: Boolean(current), recording: Boolean(current?.isRecording), spot: Boolean(current?.spots[selected]),
    }),
    nextPalette: () => changeLook({ palette: after(kPalettes, preferences.palette) }),
    nextGain: () => changeLook({ gain: after(kGains, preferences.gain) }),
    record: () => savePanel.record(),
    togglePlay: () => playback.toggle(),
    step: (by) => playback.step(by),
    move: moveSelected,
    remove: () => removeSpot(selected),
    deselect: () => selectSpot(-1),
    choose: (index) => feeds[index] && selectFeed(feeds[index]),
  });
  new ResizeObserver(() => repaint()).observe(byId('picture-frame'));
  new ResizeObserver(() => repaint()).observe(byId('chart'));
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', repaint);
}

async function start() {
  bind();
  showLook();
  const address = new URL(location.href);
  const token = address.searchParams.get('token');
  if (token) {
    // Out of the address, so that it is not in what the viewer copies or bookmarks.
    address.searchParams.delete('token');
    history.replaceState(null, '', address);
    await api.logIn(token).catch(() => {});
  }
  for (;;) {
    try {
      const [sources, colours] = await Promise.all([api.get('sources'), api.get('palettes')]);
      for (const [name, palette] of Object.entries(colours)) palettes[name] = imageDataColours(palette);
      byId('token-dialog').close();
      showSources(sources);
      break;
    } catch (error) {
      notice(...kNotices.reconnecting);
      await new Promise((resolve) => { setTimeout(resolve, 2000); });
    }
  }
  attempt(() => recordings.refresh());
  setInterval(() => recordings.refresh().catch(() => {}), kRecordingsEveryMs);
  setInterval(() => api.get('sources').then(showSources).catch(() => {}), kSourcesEveryMs);
}

start();
