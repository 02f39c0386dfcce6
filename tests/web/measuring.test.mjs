import assert from 'node:assert/strict';
import { test } from 'node:test';
import { areaAt, areaBetween, fitArea, measure, turned, turnedBack } from '../../tools/serve/page/measuring.js';

const frame = {
  width: 4, height: 3, resolution: 100,
  samples: Uint16Array.from({ length: 12 }, (_, i) => 29315 + 100 * i),
};

test('an area is measured over its own pixels', () => {
  const values = measure(frame, { x: 1, y: 1, width: 2, height: 2 });
  assert.ok(Math.abs(values.min - 25) < 1e-9 && Math.abs(values.max - 30) < 1e-9 && Math.abs(values.mean - 27.5) < 1e-9);
  assert.deepEqual([values.coldest, values.hottest], [[1, 1], [2, 2]]);
});

test('an area beyond the picture is measured where it fits', () => {
  assert.deepEqual(measure(frame, { x: 9, y: 9, width: 1, height: 1 }).hottest, [3, 2]);
  assert.deepEqual(fitArea({ x: -5, y: 2, width: 99, height: 2 }, 4, 3), { x: 0, y: 1, width: 4, height: 2 });
});

test('a drag in any direction holds both corner pixels', () => {
  const expected = { x: 1, y: 2, width: 3, height: 4 };
  assert.deepEqual(areaBetween({ x: 3, y: 5 }, { x: 1, y: 2 }), expected);
  assert.deepEqual(areaBetween({ x: 1, y: 5 }, { x: 3, y: 2 }), expected);
});

test('a spot inside an area can be taken', () => {
  const areas = [{ x: 5, y: 5, width: 1, height: 1 }, { x: 0, y: 0, width: 20, height: 20 }];
  assert.equal(areaAt(areas, { x: 5.5, y: 5.5 }, 1), 0);
  assert.equal(areaAt(areas, { x: 15, y: 15 }, 1), 1);
  assert.equal(areaAt(areas, { x: 30, y: 15 }, 1), -1);
});

test('places come back from every turn, and a quarter turn goes clockwise', () => {
  assert.deepEqual(turned({ x: 0, y: 0 }, 1), { x: 1, y: 0 });
  for (const quarters of [0, 1, 2, 3]) {
    const back = turnedBack(turned({ x: 0.25, y: 0.75 }, quarters), quarters);
    assert.deepEqual(back, { x: 0.25, y: 0.75 });
  }
});
