import assert from 'node:assert/strict';
import { test } from 'node:test';
import { celsiusOf, fromUnit, inUnit, numberText, roundTicks, sampleOf, temperatureText } from '../../tools/serve/page/temperature.js';

test('samples of any resolution and units convert both ways', () => {
  assert.ok(Math.abs(celsiusOf(29315, 100) - 20) < 1e-9);
  assert.equal(sampleOf(celsiusOf(18762, 64), 64), 18762);
  assert.equal(inUnit(100, 'F'), 212);
  for (const unit of ['C', 'F', 'K']) assert.ok(Math.abs(fromUnit(inUnit(-12.5, unit), unit) + 12.5) < 1e-9);
});

test('texts know no value, no negative zero and the true minus', () => {
  assert.equal(numberText(undefined, 'C'), '–');
  assert.equal(numberText(NaN, 'K'), '–');
  assert.equal(numberText(-0.04, 'C'), '0.0');
  assert.equal(temperatureText(-3.2, 'F'), '26.2 °F');
  assert.equal(temperatureText(-40, 'C'), '−40.0 °C');
});

test('ticks are round, inside, apart in their digits, and end', () => {
  for (const [low, high] of [[13.6, 54.2], [20, 20.3], [-40, 400], [-0.02, 0.03], [293.1, 293.2]]) {
    const { ticks, digits } = roundTicks(low, high, 5);
    assert.ok(ticks.length >= 1 && ticks.length <= 6, `${low} to ${high}: ${ticks}`);
    assert.ok(ticks.every((tick) => tick >= low - 1e-6 && tick <= high + 1e-6));
    assert.equal(new Set(ticks.map((tick) => tick.toFixed(digits))).size, ticks.length);
  }
  assert.deepEqual(roundTicks(20, 20, 5).ticks, []);
});
