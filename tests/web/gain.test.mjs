import assert from 'node:assert/strict';
import { test } from 'node:test';
import { colourTable, extremesOf, linearGain, manualGain, nonLinearGain } from '../../tools/serve/page/gain.js';

test('extremes leave the reference columns out, and know their pixels', () => {
  const samples = Uint16Array.from([9, 5, 6, 1, 7, 4]);
  const { min, max, minAt, maxAt, mean } = extremesOf(samples, 3, 1);
  assert.deepEqual([min, max, minAt, maxAt, mean], [4, 7, 5, 4, 5.5]);
  assert.equal(extremesOf(samples, 3, 3), null);
});

test('linear and manual gain reach both ends of the palette and hold outside of them', () => {
  for (const gain of [linearGain(30000, 32048), manualGain(30000, 32048)]) {
    assert.deepEqual([0, 30000, 31024, 32048, 65535].map(gain), [0, 0, 512, 1023, 1023]);
  }
});

test('a picture of one temperature and a range without width have levels of the palette', () => {
  const flat = new Uint16Array(12).fill(30000);
  const extremes = extremesOf(flat, 4, 0);
  for (const gain of [linearGain(30000, 30000), manualGain(30000, 30000), manualGain(40, 20),
    nonLinearGain(flat, 4, 0, extremes, false), nonLinearGain(flat, 4, 0, extremes, true)]) {
    for (const sample of [0, 29999, 30000, 30001, 65535]) {
      const level = gain(sample);
      assert.ok(Number.isInteger(level) && level >= 0 && level < 1024, `${sample} has level ${level}`);
    }
  }
});

test('non-linear gain shares the levels out by count and never falls', () => {
  // Three of four samples in the first bin of the block 29696 to 30719, one in the last.
  const samples = Uint16Array.from([29696, 29700, 29727, 30719]);
  const gain = nonLinearGain(samples, 4, 0, extremesOf(samples, 4, 0), false);
  assert.equal(gain(29696 + 16), 384);  // half way through a bin with 768 levels
  assert.equal(gain(29696 + 32), 768);
  assert.equal(gain(30719), 768 + Math.floor(31 * 256 / 32));
  let before = 0;
  for (let sample = 29000; sample < 31000; ++sample) {
    assert.ok(gain(sample) >= before);
    before = gain(sample);
  }
});

test('damping leaves levels to what is before a plain background', () => {
  const samples = new Uint16Array(1000).fill(29700);
  samples.fill(30700, 900);
  const extremes = extremesOf(samples, 100, 0);
  const levelsOfBody = (damped) => 1023 - nonLinearGain(samples, 100, 0, extremes, damped)(30680);
  assert.ok(levelsOfBody(true) > 0);
  // 900 samples become 90 and every bin gains 50: 140 of 1790 in the first, 1650 in the others.
  assert.equal(nonLinearGain(samples, 100, 0, extremes, true)(29696 + 32), Math.floor(140 * 1024 / 1790));
});

test('the colour table begins at the first sample and holds the last', () => {
  const palette = Uint32Array.from({ length: 1024 }, (_, i) => i);
  const table = colourTable(linearGain(100, 1124), palette, 100, 1124);
  assert.deepEqual([table[0], table[500], table.at(-1)], [0, 500, 1023]);
});
