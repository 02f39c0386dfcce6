// Runs zocam serve on virtual cameras for a test, and a browser to look at it.

import { spawn } from 'node:child_process';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { chromium } from 'playwright-core';

const { ZOCAM_SIM, ZOCAM_TOOL, ZOCAM_CHROMIUM = '/usr/bin/chromium' } = process.env;

// The address, as the server prints it once it listens.
function addressOf(child) {
  return new Promise((resolve, reject) => {
    let text = '';
    const take = (data) => {
      text += data;
      const found = /open (\S+) in a browser/.exec(text);
      if (found) resolve(found[1]);
    };
    child.stdout.on('data', take);
    child.stderr.on('data', take);
    child.on('exit', () => reject(new Error(`zocam serve ended: ${text}`)));
  });
}

export class Serving {
  // cameras: options of zocam-sim; options: of zocam serve.
  static async begin(cameras, options = []) {
    const serving = new Serving();
    serving.folder = await mkdtemp(join(tmpdir(), 'zocam-web-'));
    serving.child = spawn(ZOCAM_SIM, [...cameras, '--', ZOCAM_TOOL, 'serve', '--listen', '127.0.0.1:0',
      '--recordings', serving.folder, ...options]);
    serving.url = await addressOf(serving.child);
    serving.origin = new URL(serving.url).origin;
    return serving;
  }

  async get(path) {
    return (await fetch(`${this.origin}/api/v1/${path}`)).json();
  }

  // Resolves to the exit status.
  async end() {
    const ended = new Promise((resolve) => { this.child.on('exit', resolve); });
    this.child.kill('SIGINT');
    const status = await ended;
    await rm(this.folder, { recursive: true });
    return status;
  }
}

let browser = null;

export async function openPage(url, options = {}) {
  browser ??= await chromium.launch({ executablePath: ZOCAM_CHROMIUM, args: ['--no-sandbox'] });
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 }, ...options });
  const page = await context.newPage();
  page.problems = [];
  page.on('pageerror', (error) => page.problems.push(String(error)));
  page.on('console', (message) => {
    if (message.type() === 'error') page.problems.push(message.text());
  });
  await page.goto(url);
  return page;
}

export async function closeBrowser() {
  await browser?.close();
}

export const part = (page, name) => page.locator(`[data-test="${name}"]`).first();

export const untilShown = (page) => page.waitForFunction(() => window.zocamStats.framesShown > 1);

// Waits until a part's text matches.
export const untilText = (page, name, pattern) => page.waitForFunction(
  ([selector, source]) => new RegExp(source).test(document.querySelector(selector)?.textContent ?? ''),
  [`[data-test="${name}"]`, pattern.source]);

// The number in front of a text like "23.50 °C".
export const numberIn = async (locator) => parseFloat((await locator.textContent()).replace('−', '-'));
