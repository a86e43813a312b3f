// What the live page must show, computed in the test from the documents as
// fetched over HTTP (never from the page's own code).

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { medianSince } from './figures.mjs';

const DASH = '\u2014';
const ORDERS = 127;
// Members the page shows once (from the polling document) or draws instead of
// printing (the spectra).
const SHOWN_ONCE = ['meterDesignation', 'powerOnTime'];

// The text a field bound to doc[key][index] must show.
export function shown(doc, key, index) {
  const value = index === undefined ? doc[key] : (Array.isArray(doc[key]) ? doc[key][Number(index)] : undefined);
  if (value === null || value === undefined) return DASH;
  return typeof value === 'string' ? value : JSON.stringify(value);
}

// Members of the documents that no field of the page shows.
export function uncovered(docs, fields) {
  const have = new Set(fields.map((f) => `${f.doc} ${f.key} ${f.i ?? ''}`));
  const missing = [];
  for (const [name, doc] of Object.entries(docs)) {
    for (const [key, value] of Object.entries(doc)) {
      if (key === 'version' || /_(mag|phs)$/.test(key)) continue;
      if (SHOWN_ONCE.includes(key) && name !== 'polling_data.json') continue;
      const indexes = Array.isArray(value) ? value.map((_, i) => String(i)) : [''];
      for (const i of indexes) if (!have.has(`${name} ${key} ${i}`)) missing.push(`${name} ${key}[${i}]`);
    }
  }
  return missing;
}

const number = (text) => Number.parseFloat(text);
const percent = (part, whole) => `${((number(part) / number(whole)) * 100).toFixed(2)} %`;

// The four unbalance ratios in percent from the sequence magnitudes.
export function unbalance(symm) {
  const m = (key) => symm[key][0];
  return {
    'V2/V1': percent(m('voltage_negative_sequence'), m('voltage_positive_sequence')),
    'V0/V1': percent(m('voltage_zero_sequence'), m('voltage_positive_sequence')),
    'I2/I1': percent(m('current_negative_sequence'), m('current_positive_sequence')),
    'I0/I1': percent(m('current_zero_sequence'), m('current_positive_sequence')),
  };
}

// Label of input i in sample s: bit i of the published byte set = shorted.
export function diginLabel(docs, i, s) {
  const labels = docs['device_profile_label.json'];
  const byte = Number.parseInt(docs['polling_data.json'].digins[s], 10);
  return (byte >> i) & 1 ? labels.digital_input_shorted_label[i] : labels.digital_input_open_label[i];
}

// Lines 0-2 voltages, 3-5 currents: direction at the published angle
// (counter-clockwise, SVG y grows downwards), length / magnitude the same
// within each group.
export function checkPhasors(values, lines) {
  assert.equal(lines.length, 6);
  for (const group of [[0, 1, 2], [3, 4, 5]]) {
    const ratios = group.map((k) => Math.hypot(lines[k].x2 - lines[k].x1, lines[k].y2 - lines[k].y1) / number(values[k]));
    for (const r of ratios) assert.ok(Math.abs(r - ratios[0]) <= 1e-3 * ratios[0], `lengths ${ratios}`);
    for (const k of group) {
      const drawn = (Math.atan2(lines[k].y1 - lines[k].y2, lines[k].x2 - lines[k].x1) * 180) / Math.PI;
      const diff = (((drawn - number(values[k + 12])) % 360) + 540) % 360 - 180;
      assert.ok(Math.abs(diff) < 0.05, `phasor ${k}: drawn ${drawn}, published ${values[k + 12]}`);
    }
  }
}

// One bar per order 1..orders, heights in proportion to the magnitudes.
export function checkBars(doc, channel, orders, bars) {
  assert.equal(bars.length, orders, `${channel} bar count`);
  const mags = doc[`${channel}_mag`];
  const phases = doc[`${channel}_phs`];
  let ratio = NaN;
  bars.forEach((bar, k) => {
    assert.equal(bar.order, k + 1);
    const mag = number(mags[ORDERS - bar.order]);
    assert.equal(bar.phase, phases[ORDERS - bar.order]);
    if (mag === 0) return assert.equal(bar.height, 0, `${channel} order ${bar.order}`);
    if (Number.isNaN(ratio)) ratio = bar.height / mag;
    assert.ok(Math.abs(bar.height - ratio * mag) <= 2e-4 + 1e-4 * bar.height, `${channel} order ${bar.order}: ${bar.height} vs ${ratio * mag}`);
  });
}

// The drawn waveform equals k * sum m_h cos(h t + p_h), k giving the RMS value.
export function checkWaveform(doc, channel, wave) {
  const value = { va: 'voltA', vb: 'voltB', vc: 'voltC', ia: 'currentA', ib: 'currentB', ic: 'currentC' }[channel];
  const rms = number(doc[value][0]);
  const mag = (h) => number(doc[`${channel}_mag`][ORDERS - h]);
  const phase = (h) => (number(doc[`${channel}_phs`][ORDERS - h]) * Math.PI) / 180;
  let squares = 0;
  for (let h = 1; h <= ORDERS; h += 1) squares += mag(h) ** 2;
  const k = rms / Math.sqrt(squares / 2);
  const points = wave.points.trim().split(/\s+/).map((p) => number(p.split(',')[1]));
  assert.ok(points.length > 100, `${channel} points`);
  const tolerance = 0.0015 / wave.scale + 1e-3 * rms;
  points.forEach((y, i) => {
    const t = (2 * Math.PI * i) / (points.length - 1);
    let sum = 0;
    for (let h = 1; h <= ORDERS; h += 1) sum += mag(h) * Math.cos(h * t + phase(h));
    const drawn = (wave.y0 - y) / wave.scale;
    assert.ok(Math.abs(drawn - k * sum) <= tolerance, `${channel} point ${i}: ${drawn} vs ${k * sum}`);
  });
}

// Every how many ticks (of one second) the page reads a document.
export function periodTicks(name) {
  if (name === 'thd_data.json') return 3;
  if (name === 'device_profile_label.json' || name === 'meter_factory_setting.json') return 10;
  return 1;
}

function pageWeight(dir) {
  let bytes = 0;
  for (const entry of fs.readdirSync(dir, { withFileTypes: true })) {
    const full = path.join(dir, entry.name);
    if (entry.isDirectory()) bytes += pageWeight(full);
    else if (/\.(html|css|js)$/.test(entry.name)) bytes += fs.statSync(full).size;
  }
  return bytes;
}

// Page weight, median time of one update of all panels over the ticks of
// the run (until the values are in the DOM, and until they are painted, as
// recorded by instrument.js),
// and the JS heap (after a
// forced collection) and the machine's 1-minute load average every 10 s over
// the given time.
export async function measure(page, context, wwwDir, seconds) {
  const cdp = await context.newCDPSession(page);
  await cdp.send('Performance.enable');
  const heap = async () => {
    await cdp.send('HeapProfiler.collectGarbage');
    const { metrics } = await cdp.send('Performance.getMetrics');
    return metrics.find((m) => m.name === 'JSHeapUsedSize').value;
  };
  const since = await page.evaluate(() => window.lduMeasure.ticks());
  const samples = [await heap()];
  const loads = [os.loadavg()[0]];
  const end = Date.now() + seconds * 1000;
  while (Date.now() < end) {
    await page.waitForTimeout(Math.min(10000, Math.max(0, end - Date.now())));
    samples.push(await heap());
    loads.push(os.loadavg()[0]);
  }
  const { updates, painted, ticks } = await page.evaluate(() => window.lduMeasure.snapshot());
  return {
    pageWeightBytes: pageWeight(wwwDir), medianUpdateMs: medianSince(updates, since), medianPaintedMs: medianSince(painted, since),
    ticks: ticks - since, soakSeconds: seconds,
    loadAverage1m: loads, heapBytes: samples,
  };
}
