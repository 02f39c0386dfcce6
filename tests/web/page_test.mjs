// The page of zocam serve in a browser, on virtual cameras.

import assert from 'node:assert/strict';
import { readdir } from 'node:fs/promises';
import { after, test } from 'node:test';
import { closeBrowser, numberIn, openPage, part, Serving, untilShown, untilText } from './serving.mjs';

after(closeBrowser);

// Runs a test on a server of its own, in a page that must have nothing to complain about.
function serveTest(name, cameras, options, run) {
  test(name, { timeout: 60000 }, async () => {
    const serving = await Serving.begin(cameras, options);
    let page = null;
    let status = null;
    try {
      page = await openPage(serving.url);
      await untilShown(page);
      await run(page, serving);
      assert.deepEqual(page.problems, []);
    } finally {
      await page?.close();
      status = await serving.end();
    }
    assert.equal(status, 0, 'Ctrl-C is no failure');
  });
}

const kCelsiusLeft = 280 - 273.15;
const kCelsiusRight = 320 - 273.15;
const kGradient = ['-c', '6103,serial=42,noise=off,scene=gradient:280:320'];

// Red, green and blue of the picture along its middle row.
const middleRow = (page) => part(page, 'picture').evaluate((canvas) => {
  const { data } = canvas.getContext('2d').getImageData(0, Math.floor(canvas.height / 2), canvas.width, 1);
  return Array.from({ length: canvas.width }, (_, x) => Array.from(data.subarray(4 * x, 4 * x + 3)));
});

async function pointAt(page, x, y) {
  const box = await part(page, 'picture').boundingBox();
  const place = [box.x + box.width * x, box.y + box.height * y];
  await page.mouse.move(...place);
  return place;
}

serveTest('shows what the camera sees, wherever the pointer is', kGradient, [], async (page) => {
  await untilText(page, 'state', /^live$/);
  for (const x of [0.1, 0.37, 0.5, 0.92]) {
    await pointAt(page, x, 0.4);
    await page.waitForFunction((column) =>
      Math.abs(parseInt(document.getElementById('pointer-place').textContent, 10) - column) <= 1, 160 * x);
    const column = parseInt(await page.locator('#pointer-place').textContent(), 10);
    const scene = kCelsiusLeft + (kCelsiusRight - kCelsiusLeft) * column / 159;
    const shown = await numberIn(part(page, 'pointer'));
    assert.ok(Math.abs(shown - scene) <= 0.2, `${shown} for ${scene} at ${column}`);
  }
  const lowest = await numberIn(part(page, 'picture-min'));
  assert.ok(Math.abs(lowest - kCelsiusLeft) <= 0.2, `lowest ${lowest}`);
  await part(page, 'unit').selectOption('K');
  await untilText(page, 'picture-min', /K/);
  assert.ok(Math.abs(await numberIn(part(page, 'picture-min')) - lowest - 273.15) <= 0.1);
});

serveTest('changes colours with palette, gain and range', kGradient, [], async (page) => {
  const iron = await middleRow(page);
  await part(page, 'palette').selectOption('gray');
  await page.waitForTimeout(500);
  const grey = await middleRow(page);
  assert.notDeepEqual(grey, iron);
  assert.ok(grey.every(([red, green, blue]) => red === green && green === blue), 'grey is grey');
  await part(page, 'gain').selectOption('manual');
  await part(page, 'range-low').fill('26');
  await part(page, 'range-high').fill('27');
  await page.waitForTimeout(500);
  const narrow = await middleRow(page);
  const share = (isIt) => narrow.filter(([red]) => isIt(red)).length / narrow.length;
  assert.ok(Math.abs(share((red) => red < 5) - 0.48) < 0.03, 'black below the range');
  assert.ok(Math.abs(share((red) => red > 250) - 0.49) < 0.03, 'white above it');
});

serveTest('follows a moving body with a spot and a chart', ['-c', '6101,serial=42'], ['--high-rate'],
  async (page, serving) => {
    await page.mouse.click(...await pointAt(page, 0.5, 0.55));
    await part(page, 'spot-value').waitFor();
    const values = [];
    for (let i = 0; i < 40; ++i) {
      values.push(await numberIn(part(page, 'spot-value')));
      await page.waitForTimeout(150);
    }
    assert.ok(Math.max(...values) - Math.min(...values) > 3, `it moves: ${values}`);
    // The line goes up and down as the values did.
    const heights = await part(page, 'chart').evaluate((canvas) => {
      const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
      const rows = new Set();
      for (let i = 0; i < data.length; i += 4) {
        const [red, green, blue, opacity] = data.subarray(i, i + 4);
        if (opacity > 200 && Math.max(red, green, blue) - Math.min(red, green, blue) > 60)
          rows.add(Math.floor(i / 4 / canvas.width));
      }
      return rows.size / canvas.height;
    });
    assert.ok(heights > 0.2, `the chart's line covers ${heights} of its height`);
    const spots = await serving.get('sources/42/spots');
    assert.equal(spots.length, 1);
    assert.ok(spots[0].mean > -20 && spots[0].mean < 60);
  });

serveTest('keeps areas, measures in them and gives alarm', kGradient, [], async (page) => {
  const from = await pointAt(page, 0.5, 0.25);
  await page.mouse.down();
  const to = await pointAt(page, 0.75, 0.75);
  await page.mouse.up();
  assert.ok(to[0] > from[0]);
  await untilText(page, 'spot-value', /\d/);
  const middle = kCelsiusLeft + (kCelsiusRight - kCelsiusLeft) * 0.625;
  assert.ok(Math.abs(await numberIn(part(page, 'spot-value')) - middle) < 0.5);
  await part(page, 'alarm-high').fill('40');
  await part(page, 'alarm-above').check();
  await part(page, 'alarm').waitFor();
  assert.match(await part(page, 'alarm').textContent(), /above 40/);
  await page.locator('#alarm-watch').selectOption('spots');
  await part(page, 'alarm').waitFor({ state: 'hidden' });
  await page.reload();
  await untilText(page, 'spot-value', /\d/);
  // Turned by 90 degrees, the pointer is over the same pixel's temperature.
  await part(page, 'rotate').click();
  await page.waitForTimeout(300);
  await pointAt(page, 0.5, 0.9);
  await page.waitForTimeout(300);
  assert.ok(await numberIn(part(page, 'pointer')) > kCelsiusRight - 6, 'right is below now');
});

serveTest('records, lists, plays and saves', ['-c', '6103,serial=42'], [], async (page, serving) => {
  await part(page, 'record').click();
  await page.waitForFunction(() =>
    parseInt(/(\d+) frames/.exec(document.getElementById('record-figures').textContent)?.[1], 10) >= 20);
  await part(page, 'record').click();
  const entry = part(page, 'recording-entry');
  await entry.getByText('frames').waitFor();
  const [file] = await readdir(serving.folder);
  assert.equal((await serving.get('recordings'))[0].name, file);
  await part(page, 'recording-play').click();
  await untilText(page, 'state', /^(playing|ended)$/);
  await page.waitForFunction(() => Number(document.getElementById('time-line').value) > 0.5);
  await part(page, 'play').click();
  await untilText(page, 'state', /^paused$/);
  await page.waitForTimeout(300);
  const paused = Number(await part(page, 'time-line').inputValue());
  await page.waitForTimeout(500);
  assert.equal(Number(await part(page, 'time-line').inputValue()), paused);
  await page.keyboard.press('ArrowLeft');
  await page.waitForFunction((before) => Number(document.getElementById('time-line').value) < before, paused);
  for (const [name, pattern] of [['snapshot-png', /\.png$/], ['snapshot-16', /-16\.png$/], ['snapshot-csv', /\.csv$/]]) {
    const download = page.waitForEvent('download');
    await part(page, name).click();
    assert.match((await download).suggestedFilename(), pattern);
  }
});

serveTest('shows that a camera was pulled out, and that it is back', ['-c', '6103,serial=42,unplug=4,replug=2'], [],
  async (page) => {
    await untilText(page, 'state', /^disconnected$/);
    await untilText(page, 'notice', /pulled out/);
    await untilText(page, 'state', /^live$/);
    const shown = await page.evaluate(() => window.zocamStats.framesShown);
    await page.waitForFunction((before) => window.zocamStats.framesShown > before + 3, shown);
  });

test('shows nothing without the token', { timeout: 60000 }, async () => {
  const serving = await Serving.begin(kGradient, ['--token', 'sesame']);
  try {
    assert.equal((await fetch(`${serving.origin}/api/v1/sources`)).status, 401);
    const page = await openPage(`${serving.origin}/`);
    await part(page, 'token').fill('wrong');
    await part(page, 'token-submit').click();
    await untilText(page, 'token-error', /not the right one/);
    assert.equal(await page.evaluate(() => window.zocamStats.framesShown), 0);
    await part(page, 'token').fill('sesame');
    await page.keyboard.press('Enter');
    await untilShown(page);
    await page.close();
    const other = await openPage(`${serving.origin}/?token=sesame`);
    await untilShown(other);
    assert.ok(!other.url().includes('sesame'), 'the token leaves the address');
    await other.close();
  } finally {
    await serving.end();
  }
});

serveTest('holds twenty viewers at the high rate', ['-c', '6101,serial=42'], ['--high-rate'], async (page, serving) => {
  const seen = await page.evaluate(async () => {
    const numbers = Array.from({ length: 20 }, () => []);
    const sockets = numbers.map((list) => {
      const socket = new WebSocket(`ws://${location.host}/api/v1/sources/42/frames`);
      socket.binaryType = 'arraybuffer';
      socket.onmessage = ({ data }) => {
        if (typeof data !== 'string') list.push(new DataView(data).getUint32(8, true));
      };
      return socket;
    });
    const pause = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });
    // A browser opens them one after the other.
    while (numbers.some((list) => list.length === 0)) await pause(50);
    for (const list of numbers) list.length = 0;
    await pause(5000);
    for (const socket of sockets) socket.close();
    return numbers;
  });
  const counts = seen.map((numbers) => numbers.length);
  assert.ok(Math.min(...counts) > 5 * 25.9 * 0.7, `frames of each viewer: ${counts}`);
  for (const numbers of seen) assert.ok(numbers.every((number, i) => i === 0 || number > numbers[i - 1]), 'in order');
  const { dropped, frames } = await serving.get('sources/42');
  assert.ok(dropped < 0.1 * frames, `${dropped} of ${frames} dropped`);
});
