// Where the time of one update of the live page goes: runs the page against
// meter-sim, the daemon and lighttpd (as the browser test does) and prints,
// per document, the median of each phase of its read and, per tick, the
// median of the update time, of the time from the last body read to the end of
// the update (parsing and rendering: the tick renders all its documents
// together) and of the time until the next frame is drawn.
//
//   node profile.mjs [SECONDS]        (default 40; starts the daemon: run it
//                                      under the same lock as the other tests)
//
// Environment as for live_page.test.mjs (LDU_STAGE required); LDU_WWW serves
// another copy of the page (e.g. the checkout's web/www) instead of the
// staged one. Network phases come from the Resource Timing entries of the
// fetches, ticks from the page's "livetick" events, parse times from a
// wrapped JSON.parse.

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { MeterRig, DOCUMENTS, BROWSER_FLAGS, CHROMIUM, waitFor } from './rig.mjs';
import { median } from './figures.mjs';

const STAGE = process.env.LDU_STAGE;
const SOURCE = process.env.LDU_SOURCE_DIR || path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const SECONDS = Number(process.argv[2] || 40);

// Runs inside the page once it has started: collects per-read and per-tick
// timings into window.lduProfile.
function instrument() {
  const out = { reads: [], ticks: [], parses: [] };
  window.lduProfile = out;
  const parse = JSON.parse;
  JSON.parse = (text, ...rest) => {
    const t0 = performance.now();
    const value = parse(text, ...rest);
    out.parses.push(performance.now() - t0);
    return value;
  };
  document.addEventListener('livetick', ({ detail: { tick, startedAt, endedAt } }) => {
    requestAnimationFrame(() => setTimeout(() => out.ticks.push({ tick, start: startedAt, end: endedAt, frame: performance.now() - startedAt }), 0));
  });
  new PerformanceObserver((list) => {
    for (const e of list.getEntries()) {
      if (!e.name.includes('/json/')) continue;
      out.reads.push({ doc: e.name.split('/').pop(), fetchAt: e.startTime, requestAt: e.requestStart, headersAt: e.responseStart, endAt: e.responseEnd, queue: e.requestStart - e.startTime,
        headers: e.responseStart - e.requestStart, body: e.responseEnd - e.responseStart, total: e.responseEnd - e.startTime,
        connected: e.connectEnd > e.connectStart });
    }
  }).observe({ type: 'resource' });
  performance.setResourceTimingBufferSize(100000);
}

const fmt = (x) => (Number.isFinite(x) ? x.toFixed(2).padStart(7) : '     -');

// The reads of a few ticks on a time line relative to the tick's start.
function timeline(profile, count) {
  for (const t of profile.ticks.slice(-count)) {
    console.log(`tick ${t.tick}: update ${(t.end - t.start).toFixed(1)} ms, next frame at ${t.frame.toFixed(1)}`);
    const rel = (x) => (x - t.start).toFixed(1).padStart(6);
    for (const r of readsOf(profile, t)) {
      console.log(`  ${r.doc.padEnd(28)} start ${rel(r.fetchAt)} request ${rel(r.requestAt)} headers ${rel(r.headersAt)} end ${rel(r.endAt)}`);
    }
  }
}

// The reads a tick started.
function readsOf(profile, t) {
  return profile.reads.filter((r) => r.fetchAt >= t.start && r.fetchAt <= t.end);
}

function report(profile) {
  if (process.env.LDU_TIMELINE) timeline(profile, Number(process.env.LDU_TIMELINE));
  console.log('document                      n  queue headers   body  fetch  (median ms)');
  for (const doc of DOCUMENTS) {
    const net = profile.reads.filter((r) => r.doc === doc);
    const col = (key) => fmt(median(net.map((r) => r[key])));
    console.log(`${doc.padEnd(28)}${String(net.length).padStart(4)} ${col('queue')}${col('headers')}${col('body')}${col('total')}`);
  }
  console.log(`parse, any document: ${fmt(median(profile.parses))} ms median of ${profile.parses.length}`);
  const fresh = profile.reads.filter((r) => r.connected).length;
  console.log(`reads on a new connection: ${fresh} of ${profile.reads.length}`);
  const ticks = profile.ticks;
  const firstFetch = (t) => Math.min(...readsOf(profile, t).map((r) => r.fetchAt));
  const lastBody = (t) => Math.max(...readsOf(profile, t).map((r) => r.endAt));
  const groups = { 'every tick': ticks, 'THD ticks': ticks.filter((t) => t.tick % 3 === 0), 'other ticks': ticks.filter((t) => t.tick % 3 !== 0) };
  for (const [name, rows] of Object.entries(groups)) {
    console.log(`${name.padEnd(12)} n=${String(rows.length).padStart(3)}  update ${fmt(median(rows.map((t) => t.end - t.start)))}`
      + `  to first fetch ${fmt(median(rows.map((t) => firstFetch(t) - t.start)))}`
      + `  last body to end ${fmt(median(rows.map((t) => t.end - lastBody(t))))}  to next frame ${fmt(median(rows.map((t) => t.frame)))}`);
  }
}

async function main() {
  if (!STAGE) throw new Error('LDU_STAGE must name the staged install');
  const rig = new MeterRig({ stage: STAGE, source: SOURCE, www: process.env.LDU_WWW });
  process.on('exit', () => rig.killNow());
  let context;
  try {
    await rig.start();
    context = await chromium.launchPersistentContext('', { headless: true, executablePath: CHROMIUM, args: BROWSER_FLAGS });
    const page = await context.newPage();
    page.on('pageerror', (error) => console.log(`page error: ${error.message}`));
    await page.goto(`${rig.url}/common_ui/live/`);
    await waitFor('the page', async () => (await page.locator('[data-fresh-for="polling_data.json"] .state').textContent()) === 'ok', 15000);
    await page.evaluate(instrument);
    const trace = process.env.LDU_TRACE;
    const cdp = trace ? await context.newCDPSession(page) : null;
    const events = [];
    if (cdp) {
      cdp.on('Tracing.dataCollected', ({ value }) => events.push(...value));
      await cdp.send('Tracing.start', { categories: process.env.LDU_TRACE_CATEGORIES || 'devtools.timeline,blink,loading,v8.execute', transferMode: 'ReportEvents' });
    }
    await page.waitForTimeout(SECONDS * 1000);
    if (cdp) {
      const done = new Promise((resolve) => cdp.once('Tracing.tracingComplete', resolve));
      await cdp.send('Tracing.end');
      await done;
      fs.writeFileSync(trace, JSON.stringify({ traceEvents: events }));
    }
    report(await page.evaluate(() => window.lduProfile));
  } finally {
    if (context) await context.close().catch(() => {});
    await rig.stop(false);
  }
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
