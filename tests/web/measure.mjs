// What zocam serve costs, and how late its pictures are: writes the lines of a table. Usage, on a
// machine that does nothing else: ZOCAM_SIM=... ZOCAM_TOOL=... node measure.mjs

import { readFile } from 'node:fs/promises';
import { closeBrowser, openPage, Serving, untilShown } from './serving.mjs';

const kSeconds = 10;
const kTicksPerSecond = 100;
const pause = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });

// Of a process, user and system, in seconds.
async function cpuTime(pid) {
  const fields = (await readFile(`/proc/${pid}/stat`, 'utf8')).split(') ')[1].split(' ');
  return (Number(fields[11]) + Number(fields[12])) / kTicksPerSecond;
}

// Percent of a core while something runs.
async function load(pid) {
  const before = await cpuTime(pid);
  await pause(1000 * kSeconds);
  return 100 * (await cpuTime(pid) - before) / kSeconds;
}

// Sockets that take frames and do nothing with them. Resolves to frames per second of the slowest.
async function watch(page, ids, count) {
  await page.evaluate(async ([sources, wanted]) => {
    window.received = [];
    for (let i = 0; i < wanted; ++i) {
      const socket = new WebSocket(`ws://${location.host}/api/v1/sources/${sources[i % sources.length]}/frames`);
      socket.binaryType = 'arraybuffer';
      window.received.push(0);
      socket.onmessage = ({ data }) => { window.received[i] += typeof data === 'string' ? 0 : 1; };
    }
    while (window.received.some((frames) => frames === 0)) await new Promise((go) => { setTimeout(go, 50); });
    window.received.fill(0);
  }, [ids, count]);
}

const percent = (value) => `${value.toFixed(1)} %`;

async function costOf(cameras, viewers) {
  const ids = cameras.map((_, i) => String(42 + i));
  const serving = await Serving.begin(cameras.flatMap((camera, i) => ['-c', `${camera},serial=${ids[i]}`]), ['--high-rate']);
  const page = await openPage(`${serving.origin}/icon.svg`);
  if (viewers) await watch(page, ids, viewers);
  else await pause(2000);
  const server = await load(serving.child.pid);
  const rate = viewers ? Math.min(...await page.evaluate(() => window.received)) / kSeconds : 0;
  await page.close();
  await serving.end();
  console.log(`| ${cameras.join(', ')} | ${viewers} | ${percent(server)} | ${viewers ? rate.toFixed(1) : '–'} |`);
}

async function latencyOf(camera) {
  const serving = await Serving.begin(['-c', `${camera},serial=42`], ['--high-rate']);
  const page = await openPage(serving.url);
  await untilShown(page);
  await pause(1000);
  const times = await page.evaluate(async (seconds) => {
    const list = [];
    const end = performance.now() + 1000 * seconds;
    let last = 0;
    while (performance.now() < end) {
      await new Promise((go) => { setTimeout(go, 5); });
      if (window.zocamStats.framesShown === last) continue;
      last = window.zocamStats.framesShown;
      list.push(window.zocamStats.lastLatencyMs);
    }
    return list.sort((a, b) => a - b);
  }, kSeconds);
  await page.close();
  await serving.end();
  const at = (share) => `${times[Math.floor(share * (times.length - 1))].toFixed(1)} ms`;
  console.log(`| ${camera} | ${times.length} | ${at(0.5)} | ${at(0.95)} | ${at(1)} |`);
}

console.log('| cameras | viewers | server, of one core | frames per second of the slowest |\n|---|---|---|---|');
for (const viewers of [0, 1, 5, 20]) await costOf(['6101'], viewers);
await costOf(['6101', '6102', '6103', '6110'], 4);
console.log('\n| camera | frames | median | 95 of 100 | worst |\n|---|---|---|---|---|');
for (const camera of ['6101', '6110']) await latencyOf(camera);
await closeBrowser();
