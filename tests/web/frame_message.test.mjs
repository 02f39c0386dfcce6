import assert from 'node:assert/strict';
import { test } from 'node:test';
import { parseFrame } from '../../tools/serve/page/frame_message.js';

function message({ header = 48, version = 1, width = 2, height = 2, resolution = 100, samples = 4 } = {}) {
  const buffer = new ArrayBuffer(header + samples * 2);
  const view = new DataView(buffer);
  new Uint8Array(buffer).set(new TextEncoder().encode('ZOCF'));
  view.setUint16(4, version, true);
  view.setUint16(6, header, true);
  view.setUint32(8, 7, true);
  view.setUint16(12, width, true);
  view.setUint16(14, height, true);
  view.setUint32(16, resolution, true);
  view.setFloat64(24, 1234.5, true);
  for (let i = 0; i < samples; ++i) view.setUint16(header + 2 * i, 29315 + i, true);
  return buffer;
}

test('a frame is read, also behind a header that has grown', () => {
  for (const header of [48, 64]) {
    const frame = parseFrame(message({ header }));
    assert.deepEqual([frame.number, frame.width, frame.time, ...frame.samples], [7, 2, 1234.5, 29315, 29316, 29317, 29318]);
  }
});

test('messages that do not hold what they say are none', () => {
  for (const bad of [{ version: 2 }, { width: 0 }, { resolution: 0 }, { samples: 3 }, { width: 65535, height: 65535 }]) {
    assert.equal(parseFrame(message(bad)), null, JSON.stringify(bad));
  }
  assert.equal(parseFrame(new ArrayBuffer(10)), null);
});
