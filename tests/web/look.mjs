// Pictures of the page, for looking at: desktop and phone, light and dark, live and playback.
// Usage: ZOCAM_SIM=... ZOCAM_TOOL=... node look.mjs FOLDER

import { mkdir } from 'node:fs/promises';
import { join } from 'node:path';
import { closeBrowser, openPage, part, Serving, untilShown, untilText } from './serving.mjs';

const folder = process.argv[2] ?? '.';
await mkdir(folder, { recursive: true });
const pause = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });
const serving = await Serving.begin(
  ['-c', '6103,serial=281483566841860', '-c', '6110,serial=281483566841861', '-c', '6101,serial=281483566841862']);

const kDesktop = { viewport: { width: 1440, height: 900 } };
const kPhone = { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2, isMobile: true, hasTouch: true };

async function shoot(page, name, fullPage = false) {
  await pause(500);
  await page.screenshot({ path: join(folder, `${name}.png`), fullPage });
}

const spots = [
  { name: 'lamp', x: 128, y: 17, width: 17, height: 15 }, { name: 'window', x: 20, y: 18, width: 1, height: 1 },
  { name: 'path', x: 104, y: 60, width: 1, height: 1 }];
const page = await openPage(serving.url, { ...kDesktop, colorScheme: 'dark' });
await untilShown(page);
await fetch(`${serving.origin}/api/v1/sources/281483566841860/spots`, { method: 'PUT', body: JSON.stringify(spots) });
await page.locator('#chart-span').selectOption('30');
await part(page, 'record').click();
await pause(25000);
await part(page, 'record').click();
await part(page, 'recording-entry').getByText('frames').waitFor();
await part(page, 'message').waitFor({ state: 'hidden' });
await shoot(page, 'desktop-dark-live');
await part(page, 'recording-play').click();
await untilText(page, 'state', /^playing$/);
await pause(4000);
await shoot(page, 'desktop-dark-playback');
await page.close();
for (const [name, options] of [['desktop-light', { ...kDesktop, colorScheme: 'light' }],
  ['phone-light', { ...kPhone, colorScheme: 'light' }], ['phone-dark', { ...kPhone, colorScheme: 'dark' }]]) {
  const other = await openPage(serving.url, options);
  await untilShown(other);
  await pause(6000);
  await shoot(other, `${name}-live`, name.startsWith('phone'));
  await other.close();
}
await closeBrowser();
await serving.end();
