// End-to-end tests of the live page in headless Chromium (Debian's browser,
// driven by playwright-core): meter-sim, livedata_update and lighttpd run in
// a temporary directory on a free loopback port.
//
// Environment: LDU_STAGE (staged install, required), LDU_SOURCE_DIR (checkout,
// for scripts/web-conf), LDU_WEB_OUT (screenshots and figures; default: the
// temporary directory), LDU_WEB_SOAK_SECONDS (length of the heap measurement,
// default 60), LDU_WEB_PLAIN_SECONDS (length of each update-time measurement
// with no DevTools client attached, at 1280x900 and at 390x844; default 60),
// CHROMIUM (default /usr/bin/chromium).

import { describe, it, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { MeterRig, DOCUMENTS, BROWSER_FLAGS, CHROMIUM, INSTRUMENT, CONTENT_SECURITY_POLICY, waitFor } from './rig.mjs';
import * as expect from './expected.mjs';
import { measureUnattached } from './plain.mjs';

const STAGE = process.env.LDU_STAGE;
const SOURCE = process.env.LDU_SOURCE_DIR || path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const SOAK_SECONDS = Number(process.env.LDU_WEB_SOAK_SECONDS || 60);
const PLAIN_SECONDS = Number(process.env.LDU_WEB_PLAIN_SECONDS || 60);
const INPUT_NAME = '"Q" <b>x</b>';
const ACCUMULATOR_LABEL = '<b>Acc</b> "1"';

let rig;
let context;
let page;
let out;
const problems = [];
const provoked = new Set();

// Puts a 16-byte blank-padded label into the settings file.
function withLabels(buffer) {
  const put = (offset, text) => buffer.write(text.padEnd(16, ' '), offset, 16, 'latin1');
  put(896 + 8, INPUT_NAME);
  put(2360, ACCUMULATOR_LABEL);
  return buffer;
}

async function fetchDocuments() {
  const docs = {};
  for (const name of DOCUMENTS) {
    const response = await fetch(`${rig.url}/common_ui/json/${name}`, { cache: 'no-store' });
    assert.equal(response.status, 200, name);
    assert.equal(response.headers.get('content-type'), 'application/json', name);
    assert.equal(response.headers.get('cache-control'), 'no-store', name);
    docs[name] = JSON.parse(await response.text());
  }
  return docs;
}

// What the measuring stages found, saved as web-figures.json after each.
const figures = {};
const saveFigures = () => fs.writeFileSync(path.join(out, 'web-figures.json'), `${JSON.stringify(figures, null, 2)}\n`);
// Requests the page made, per document.
const reads = new Map();

function watchProblems() {
  const isProvoked = (url) => [...provoked].some((name) => url.endsWith(name));
  page.on('console', (message) => {
    const url = message.location().url || '';
    if (message.type() === 'error' && !isProvoked(url) && !isProvoked(message.text())) problems.push(`console: ${message.text()}`);
  });
  page.on('pageerror', (error) => problems.push(`uncaught: ${error.message}`));
  page.on('request', (request) => {
    const name = request.url().split('/').pop();
    reads.set(name, (reads.get(name) || 0) + 1);
  });
  page.on('requestfailed', (request) => {
    // A document cut by a rewrite (net::ERR_CONTENT_LENGTH_MISMATCH) counts too.
    const failure = (request.failure() && request.failure().errorText) || '';
    if (!isProvoked(request.url())) problems.push(`failed: ${request.url()} ${failure}`);
  });
  page.on('response', (response) => {
    if (response.status() >= 400 && !isProvoked(response.url())) problems.push(`HTTP ${response.status()}: ${response.url()}`);
  });
}

const state = (name) => page.locator(`[data-fresh-for="${name}"] .state`).textContent();
const field = (doc, key, index) => page.locator(`[data-doc="${doc}"][data-key="${key}"]${index === undefined ? ':not([data-i])' : `[data-i="${index}"]`}`).first().textContent();

describe('live page', { concurrency: false }, () => {
  before(async () => {
    assert.ok(STAGE, 'LDU_STAGE must name the staged install');
    rig = new MeterRig({ stage: STAGE, source: SOURCE });
    process.on('exit', () => rig.killNow());
    out = process.env.LDU_WEB_OUT || rig.dir;
    fs.mkdirSync(out, { recursive: true });
    await rig.start(withLabels);
    const profile = fs.mkdtempSync(path.join(rig.dir, 'chromium-'));
    context = await chromium.launchPersistentContext(profile, {
      headless: true, executablePath: CHROMIUM, args: BROWSER_FLAGS,
      viewport: { width: 1280, height: 900 },
      // Chromium keeps its crash database and caches under HOME: inside the temp root.
      env: { ...process.env, HOME: profile, XDG_CONFIG_HOME: profile, XDG_CACHE_HOME: profile },
    });
    await context.addInitScript({ path: INSTRUMENT });
    page = await context.newPage();
    watchProblems();
  });

  after(async () => {
    if (context) await context.close().catch(() => {});
    if (rig) await rig.stop(process.exitCode !== undefined && process.exitCode !== 0);
  });

  it('loads at / with every document read and no console error', async () => {
    await page.goto(`${rig.url}/`);
    assert.equal(new URL(page.url()).pathname, '/common_ui/live/');
    for (const name of DOCUMENTS) await waitFor(`${name} ok`, async () => (await state(name)) === 'ok', 15000);
    assert.deepEqual(problems, []);
  });

  it('works under the Content-Security-Policy: no inline script or style, no eval', async () => {
    const response = await fetch(`${rig.url}/common_ui/live/`);
    const policy = response.headers.get('content-security-policy') || '';
    for (const directive of CONTENT_SECURITY_POLICY.split('; ')) assert.ok(policy.includes(directive), `${directive} in "${policy}"`);
    assert.deepEqual(await page.evaluate(() => window.lduMeasure.snapshot().violations), []);
    assert.equal(await page.locator('[style]').count(), 0);
  });

  it('shows the texts of the documents fetched at the same moment', async () => {
    rig.pauseMeter(true);
    await page.waitForTimeout(4500);
    const docs = await fetchDocuments();
    await page.waitForTimeout(1500);
    const shownFields = await page.$$eval('[data-doc][data-key]', (nodes) => nodes.map((n) => ({
      doc: n.dataset.doc, key: n.dataset.key, i: n.dataset.i, text: n.textContent })));
    for (const f of shownFields) assert.equal(f.text, expect.shown(docs[f.doc], f.key, f.i), `${f.doc} ${f.key}[${f.i}]`);
    assert.deepEqual(expect.uncovered(docs, shownFields), []);
    for (const [ratio, text] of Object.entries(expect.unbalance(docs['symmetrical_components.json']))) {
      assert.equal(await page.locator(`[data-unbalance="${ratio}"]`).textContent(), text, ratio);
    }
    const cells = await page.$$eval('td[data-input]', (nodes) => nodes.map((n) => ({ i: +n.dataset.input, s: +n.dataset.sample, text: n.textContent })));
    for (const c of cells) assert.equal(c.text, expect.diginLabel(docs, c.i, c.s), `input ${c.i} sample ${c.s}`);
  });

  it('draws the phasors at the published angles with lengths in proportion', async () => {
    const doc = (await fetchDocuments())['phasor_data.json'];
    for (const set of ['phasetoneutral', 'phasetophase']) {
      await page.selectOption('#phasor-set', set);
      const lines = await page.$$eval('line.phasor', (nodes) => nodes.map((n) => ({
        x1: +n.getAttribute('x1'), y1: +n.getAttribute('y1'), x2: +n.getAttribute('x2'), y2: +n.getAttribute('y2') })));
      expect.checkPhasors(doc[set], lines);
    }
  });

  it('draws one harmonic bar per order with heights in proportion to the magnitudes', async () => {
    const doc = (await fetchDocuments())['thd_data.json'];
    for (const orders of [63, 127]) {
      await page.selectOption('#harmonic-range', String(orders));
      for (const channel of ['va', 'vb', 'vc', 'ia', 'ib', 'ic']) {
        const bars = await page.$$eval(`[data-channel="${channel}"] rect.bar`, (nodes) => nodes.map((n) => ({
          order: +n.dataset.order, height: +n.getAttribute('height'), phase: n.dataset.phase })));
        expect.checkBars(doc, channel, orders, bars);
      }
    }
    await page.selectOption('#harmonic-range', '63');
    await page.locator('[data-channel="va"] rect.bar[data-order="5"]').focus();
    const readout = await page.locator('[data-channel="va"] .readout').textContent();
    assert.ok(readout.includes(`phase ${doc.va_phs[127 - 5]} Deg`), readout);
  });

  it('rebuilds each waveform as the sum of the harmonic cosines at the RMS value', async () => {
    const doc = (await fetchDocuments())['thd_data.json'];
    for (const channel of ['va', 'vb', 'vc', 'ia', 'ib', 'ic']) {
      const wave = await page.$eval(`[data-channel="${channel}"] polyline.wave`, (n) => ({
        points: n.getAttribute('points'), y0: +n.dataset.y0, scale: +n.dataset.scale }));
      expect.checkWaveform(doc, channel, wave);
    }
  });

  it('shows digital-input states after a dmtool set of reading.digin.flag', async () => {
    const labels = (await fetchDocuments())['device_profile_label.json'];
    for (const flag of [0x0500, 0x0200]) {
      rig.dmtool('set', 'reading.digin.flag', `0x${flag.toString(16)}`);
      await waitFor(`inputs after ${flag}`, async () => {
        const cells = await page.$$eval('td[data-input]', (nodes) => nodes.map((n) => ({ i: +n.dataset.input, text: n.textContent })));
        return cells.every((c) => c.text === ((flag >> 8) >> c.i & 1 ? labels.digital_input_shorted_label[c.i] : labels.digital_input_open_label[c.i]));
      }, 8000);
    }
  });

  it('shows labels holding quotes and <b> literally', async () => {
    assert.equal(await page.locator('th[data-input-name="0"]').textContent(), INPUT_NAME);
    assert.equal(await field('device_profile_label.json', 'accumulators_label', 0), ACCUMULATOR_LABEL);
    assert.equal(await page.locator('body b').count(), 0);
  });

  it('changes the values over time', async () => {
    rig.pauseMeter(false);
    const before = { time: await field('polling_data.json', 'dateTime'), volts: await field('polling_data.json', 'volts', 0) };
    await waitFor('new values', async () => (await field('polling_data.json', 'dateTime')) !== before.time
      && (await field('polling_data.json', 'volts', 0)) !== before.volts, 8000);
    assert.deepEqual(problems, []);
  });

  it('keeps the last values of a cut or deleted document and recovers', async () => {
    const cut = 'polling_data.json';
    const gone = 'phasor_data.json';
    provoked.add(gone);
    rig.replace(cut, rig.daemonText(cut).slice(0, Math.floor(rig.daemonText(cut).length / 2)));
    rig.remove(gone);
    await waitFor('no data', async () => (await state(gone)) === 'no data', 5000);
    const kept = { volts: await field(cut, 'volts', 0), phasor: await field(gone, 'phasetoneutral', 0) };
    await waitFor('stale', async () => (await state(cut)) === 'stale', 8000);
    assert.equal(await page.locator('#readings [data-status-for="polling_data.json"]').textContent(), 'polling_data: stale');
    assert.equal(await page.locator('#phasors [data-status-for="phasor_data.json"]').textContent(), 'phasor_data: no data');
    const flickerTime = await field('flicker_data.json', 'dateTime');
    await waitFor('others updating', async () => (await field('flicker_data.json', 'dateTime')) !== flickerTime, 5000);
    assert.equal(await field(cut, 'volts', 0), kept.volts);
    assert.equal(await field(gone, 'phasetoneutral', 0), kept.phasor);
    assert.notEqual(kept.volts, '\u2014');
    rig.link(cut);
    rig.link(gone);
    for (const name of [cut, gone]) await waitFor(`${name} back`, async () => (await state(name)) === 'ok', 5000);
    await waitFor('new values', async () => (await field(cut, 'volts', 0)) !== kept.volts, 5000);
    provoked.delete(gone);
    assert.deepEqual(problems, []);
  });

  it('measures page weight, update time and heap, reading each document at its own period', async () => {
    const readsBefore = new Map(reads);
    Object.assign(figures, await expect.measure(page, context, path.join(STAGE, 'share/livedata-update/www'), SOAK_SECONDS));
    const readsDuring = DOCUMENTS.map((name) => [name, (reads.get(name) || 0) - (readsBefore.get(name) || 0)]);
    saveFigures();
    console.log(`web figures: ${JSON.stringify(figures)}`);
    // At most 10 % over the 55 271 bytes the page weighed on 2026-11-24.
    assert.ok(figures.pageWeightBytes <= 60798, `page weight ${figures.pageWeightBytes}`);
    for (const [name, count] of readsDuring) {
      const expected = figures.ticks / expect.periodTicks(name);
      assert.ok(Math.abs(count - expected) <= 1, `${name}: ${count} reads in ${figures.ticks} ticks`);
    }
    assert.deepEqual(problems, []);
  });

  it('measures the update time in a headless Chromium with no DevTools client attached, wide and narrow', async () => {
    // The attached page stops reading while the other browser measures.
    await page.goto('about:blank');
    figures.unattached = {};
    for (const size of [{ width: 1280, height: 900 }, { width: 390, height: 844 }]) {
      const plain = await measureUnattached({ url: rig.measuredUrl, dir: rig.dir, seconds: PLAIN_SECONDS, size });
      const name = `${size.width}x${size.height}`;
      figures.unattached[name] = { ...plain, seconds: PLAIN_SECONDS };
      saveFigures();
      console.log(`web figures, no DevTools client, ${name}: ${JSON.stringify(plain)}`);
      assert.ok(plain.ticks >= PLAIN_SECONDS / 2, `${name}: ${plain.ticks} ticks`);
      assert.ok(Number.isFinite(plain.medianUpdateMs), `${name}: no update time`);
      for (const doc of DOCUMENTS) assert.equal(plain.states[doc], 'ok', `${name}: ${doc}`);
    }
  });
});
