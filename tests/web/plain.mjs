// The live page in a headless Chromium that no DevTools client is attached to
// while it runs. An attached automation client (playwright here) has the
// browser report every request, response and console message to it, which
// costs each fetch several milliseconds; a person's browser has none of that.
// So the update time of the page is measured here: the browser is started on
// the measured copy of the page (instrument.js in it) with a DevTools port but
// nobody connects until the end, when the recorded figures are read once.

import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { chromium } from 'playwright-core';
import { BROWSER_FLAGS, CHROMIUM, waitFor } from './rig.mjs';
import { medianSince, countSince } from './figures.mjs';

const FLAGS = [...BROWSER_FLAGS, '--remote-debugging-address=127.0.0.1', '--remote-debugging-port=0'];
// Ticks left out at the start: the first reads also compile the page's code.
const WARM_UP_TICKS = 5;

// Runs the page at url for `seconds` in a browser of its own (profile and HOME
// inside dir) with a window of the given size ({ width, height }) and returns the median update time and the time until painted
// over the ticks after the warm-up, with the number of ticks and the state of
// every document at the end. The browser and all its processes are gone when
// this returns or throws.
export async function measureUnattached({ url, dir, seconds, size }) {
  const profile = fs.mkdtempSync(path.join(dir, 'chromium-plain-'));
  const env = { ...process.env, HOME: profile, XDG_CONFIG_HOME: profile, XDG_CACHE_HOME: profile };
  const windowSize = `--window-size=${size.width},${size.height}`;
  const child = spawn(CHROMIUM, [...FLAGS, windowSize, `--user-data-dir=${profile}`, url], { env, stdio: 'ignore', detached: true });
  const exited = new Promise((resolve) => child.once('exit', resolve));
  child.once('error', () => {});
  const killNow = () => signalGroup(child, 'SIGKILL');
  process.on('exit', killNow);
  try {
    const port = await waitFor('the DevTools port', () => devToolsPort(profile), 15000);
    await new Promise((resolve) => setTimeout(resolve, seconds * 1000));
    return await readFigures(port);
  } finally {
    signalGroup(child, 'SIGTERM');
    const timer = setTimeout(killNow, 5000);
    await exited;
    clearTimeout(timer);
    killNow();
    process.off('exit', killNow);
  }
}

// The port Chromium wrote into the profile once it listens, or 0.
function devToolsPort(profile) {
  try {
    return Number(fs.readFileSync(path.join(profile, 'DevToolsActivePort'), 'utf8').split('\n')[0]) || 0;
  } catch {
    return 0;
  }
}

async function readFigures(port) {
  const browser = await chromium.connectOverCDP(`http://127.0.0.1:${port}`);
  try {
    const page = browser.contexts()[0].pages().find((p) => p.url().includes('/common_ui/measured/'));
    if (!page) throw new Error('the measured page is not open in the plain browser');
    const { updates, painted, states } = await page.evaluate(() => ({
      ...window.lduMeasure.snapshot(),
      states: Object.fromEntries([...document.querySelectorAll('[data-fresh-for]')].map((row) => [row.dataset.freshFor, row.querySelector('.state').textContent])),
    }));
    return {
      medianUpdateMs: medianSince(updates, WARM_UP_TICKS), medianPaintedMs: medianSince(painted, WARM_UP_TICKS),
      ticks: countSince(updates, WARM_UP_TICKS), states,
    };
  } finally {
    await browser.close().catch(() => {});
  }
}

function signalGroup(child, signal) {
  try {
    process.kill(-child.pid, signal);
  } catch {
    // already gone
  }
}
