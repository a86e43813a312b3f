// Where the time of one update of the live page goes: runs the page against
// meter-sim, the daemon and lighttpd (as the browser test does) and prints,
// per document, the median of each phase of its read and, per tick, the
// median of the update time and of the time until the next frame is drawn.
//
//   node profile.mjs [SECONDS]        (default 40; starts the daemon: run it
//                                      under the same lock as the other tests)
//
// Environment as for live_page.test.mjs (LDU_STAGE required); LDU_WWW serves
// another copy of the page (e.g. the checkout's web/www) instead of the
// staged one. Network phases come from the Resource Timing entries of the
// fetches; parse and render times are taken by wrapping JSON.parse and each
// document's notify() from outside the page's code.

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { MeterRig, DOCUMENTS, BROWSER_FLAGS, CHROMIUM, waitFor } from './rig.mjs';

const STAGE = process.env.LDU_STAGE;
const SOURCE = process.env.LDU_SOURCE_DIR || path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const SECONDS = Number(process.argv[2] || 40);

// Runs inside the page once it has started: collects per-read and per-tick
// timings into window.lduProfile.
function instrument() {
  const out = { reads: [], ticks: [] };
  window.lduProfile = out;
  const { scheduler, sources } = window.lduLive;
  const parse = JSON.parse;
  let lastParseMs = NaN;
  JSON.parse = (text, ...rest) => {
    const t0 = performance.now();
    const value = parse(text, ...rest);
    lastParseMs = performance.now() - t0;
    return value;
  };
  for (const source of sources.values()) {
    const notify = source.notify.bind(source);
    source.notify = (data) => {
      const t0 = performance.now();
      notify(data);
      if (data) out.reads.push({ doc: source.name, parseMs: lastParseMs, renderAt: t0, renderMs: performance.now() - t0 });
      lastParseMs = NaN;
    };
  }
  const runTick = scheduler.runTick.bind(scheduler);
  scheduler.runTick = async () => {
    const t0 = performance.now();
    const tick = scheduler.tick;
    await runTick();
    const t1 = performance.now();
    requestAnimationFrame(() => setTimeout(() => out.ticks.push({ tick, start: t0, end: t1, frame: performance.now() - t0 }), 0));
  };
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

function median(values) {
  const v = values.filter(Number.isFinite).sort((a, b) => a - b);
  if (v.length === 0) return NaN;
  return v.length % 2 ? v[(v.length - 1) / 2] : (v[v.length / 2 - 1] + v[v.length / 2]) / 2;
}

const fmt = (x) => (Number.isFinite(x) ? x.toFixed(2).padStart(7) : '     -');

// The reads of a few ticks on a time line relative to the tick's start.
function timeline(profile, count) {
  for (const t of profile.ticks.slice(-count)) {
    console.log(`tick ${t.tick}: update ${(t.end - t.start).toFixed(1)} ms, next frame at ${t.frame.toFixed(1)}`);
    const rel = (x) => (x - t.start).toFixed(1).padStart(6);
    for (const r of profile.reads.filter((x) => x.fetchAt >= t.start && x.fetchAt <= t.end)) {
      const shown = profile.reads.find((x) => x.doc === r.doc && x.renderAt >= r.endAt && x.renderAt <= t.end + 1);
      console.log(`  ${r.doc.padEnd(28)} start ${rel(r.fetchAt)} request ${rel(r.requestAt)} headers ${rel(r.headersAt)} end ${rel(r.endAt)}`
        + (shown ? ` render ${rel(shown.renderAt)} +${shown.renderMs.toFixed(1)}` : ''));
    }
  }
}

function report(profile, median0) {
  if (process.env.LDU_TIMELINE) timeline(profile, Number(process.env.LDU_TIMELINE));
  console.log(`scheduler median update (whole run): ${median0.toFixed(2)} ms`);
  console.log('document                      n  queue headers   body  fetch  parse render  (median ms)');
  for (const doc of DOCUMENTS) {
    const net = profile.reads.filter((r) => r.doc === doc && r.fetchAt !== undefined);
    const rendered = profile.reads.filter((r) => r.doc === doc && r.renderMs !== undefined);
    const col = (rows, key) => fmt(median(rows.map((r) => r[key])));
    console.log(`${doc.padEnd(28)}${String(net.length).padStart(4)} ${col(net, 'queue')}${col(net, 'headers')}${col(net, 'body')}${col(net, 'total')}`
      + `${col(rendered, 'parseMs')}${col(rendered, 'renderMs')}`);
  }
  const fresh = profile.reads.filter((r) => r.connected).length;
  console.log(`reads on a new connection: ${fresh} of ${profile.reads.filter((r) => r.fetchAt !== undefined).length}`);
  const ticks = profile.ticks;
  const firstFetch = (t) => Math.min(...profile.reads.filter((r) => r.fetchAt >= t.start && r.fetchAt <= t.end).map((r) => r.fetchAt));
  const groups = { 'every tick': ticks, 'THD ticks': ticks.filter((t) => t.tick % 3 === 0), 'other ticks': ticks.filter((t) => t.tick % 3 !== 0) };
  for (const [name, rows] of Object.entries(groups)) {
    console.log(`${name.padEnd(12)} n=${String(rows.length).padStart(3)}  update ${fmt(median(rows.map((t) => t.end - t.start)))}`
      + `  to first fetch ${fmt(median(rows.map((t) => firstFetch(t) - t.start)))}  to next frame ${fmt(median(rows.map((t) => t.frame)))}`);
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
    await waitFor('the page', () => page.evaluate(() => window.lduLive && window.lduLive.scheduler.stats.count > 2), 15000);
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
    const median0 = await page.evaluate(() => window.lduLive.scheduler.medianUpdateMs());
    report(await page.evaluate(() => window.lduProfile), median0);
  } finally {
    if (context) await context.close().catch(() => {});
    await rig.stop(false);
  }
}

main().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
