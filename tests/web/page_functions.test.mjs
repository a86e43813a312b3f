// The live page's pure functions, in node (no browser): numbers out of
// published texts, the blocks of the documents' arrays, the spectrum and the
// waveform rebuilt from it, the trend's scale, and the medians and contrasts
// the browser tests compute. Expected values are worked out by hand here.

import { describe, it } from 'node:test';
import assert from 'node:assert/strict';
import { numberOf, radians, percentText } from '../../web/www/js/values.js';
import { DOC, READ_EVERY, LAYOUT, block } from '../../web/www/js/documents.js';
import { ORDERS, spectrumOf, waveform } from '../../web/www/js/waveform.js';
import { largestInWindow } from '../../web/www/js/trendchart.js';
import { median, medianSince, countSince } from './figures.mjs';
import { contrast, luminance, parseColor } from './colours.mjs';

describe('values', () => {
  it('reads the leading number of a published text', () => {
    assert.equal(numberOf('121.168 V'), 121.168);
    assert.equal(numberOf('-0.306 M'), -0.306);
    assert.equal(numberOf('359.97 Deg'), 359.97);
    assert.ok(Number.isNaN(numberOf('n/a')));
    assert.ok(Number.isNaN(numberOf('')));
    assert.ok(Number.isNaN(numberOf(null)));
    assert.ok(Number.isNaN(numberOf(12)));
  });

  it('turns degrees into radians', () => {
    assert.equal(radians(180), Math.PI);
    assert.equal(radians(-90), -Math.PI / 2);
  });

  it('gives a ratio in percent with two decimals, or n/a', () => {
    assert.equal(percentText(1, 8), '12.50 %');
    assert.equal(percentText(2.5, 120), '2.08 %');
    assert.equal(percentText(1, 0), 'n/a');
    assert.equal(percentText(NaN, 1), 'n/a');
  });
});

describe('documents', () => {
  it('reads every document once, at its period', () => {
    assert.equal(new Set(READ_EVERY.map(([name]) => name)).size, Object.keys(DOC).length);
    const every = Object.fromEntries(READ_EVERY);
    assert.equal(every['polling_data.json'], 1);
    assert.equal(every['thd_data.json'], 3);
    assert.equal(every['meter_factory_setting.json'], 10);
    assert.equal(every['device_profile_label.json'], 10);
  });

  it('places the phasor quantities one after the other, three phases each', () => {
    assert.equal(LAYOUT.phasetoneutral.at('a', 'V'), 0);
    assert.equal(LAYOUT.phasetoneutral.at('c', 'I'), 5);
    assert.equal(LAYOUT.phasetoneutral.at('a', 'V angle'), 12);
    assert.equal(LAYOUT.phasetoneutral.at('c', 'I angle'), 17);
    assert.equal(LAYOUT.phasetophase.at('bc', 'V-I angle'), 19);
    assert.equal(LAYOUT.phasetophase.at(2, 6), 20);
  });

  it('places readings row after row', () => {
    assert.equal(LAYOUT.volts.at('aux', 'min'), 27);
    assert.equal(LAYOUT.watts.at('total', 'neg max'), 23);
    assert.equal(LAYOUT.pfs.at('power factor', 'total'), 3);
  });

  it('places flicker extremes: values and times, then maxima, then minima', () => {
    const term = LAYOUT.flickerTerm;
    assert.deepEqual(term.columns.map((c) => term.at('A', c)), [0, 1, 6, 7, 12, 13]);
    assert.deepEqual(term.columns.map((c) => term.at('C', c)), [4, 5, 10, 11, 16, 17]);
    assert.deepEqual(['A', 'B', 'C'].map((p) => LAYOUT.flickerInst.at(p, 'Pinst')), [0, 2, 4]);
    assert.equal(LAYOUT.flickerFrequency.at('frequency', 'nominal voltage'), 6);
  });

  it('takes a custom order for a block', () => {
    const list = block(['x', 'y', 'z'], ['only'], (r) => r);
    assert.equal(list.at('z', 'only'), 2);
  });
});

// Published arrays run from order 127 down to 0.
function published(byOrder) {
  return Array.from({ length: ORDERS + 1 }, (_, k) => byOrder(ORDERS - k));
}

describe('spectrum', () => {
  it('reverses the published arrays into orders', () => {
    const s = spectrumOf(published((h) => `${h}.5`), published((h) => `${-h} `));
    assert.equal(s.mag[0], 0.5);
    assert.equal(s.mag[127], 127.5);
    assert.equal(s.magText[3], '3.5');
    assert.equal(s.phase[5], -5);
  });

  it('keeps n/a as text and NaN', () => {
    const s = spectrumOf(published((h) => (h === 2 ? 'n/a' : '1')), published(() => '0'));
    assert.equal(s.magText[2], 'n/a');
    assert.ok(Number.isNaN(s.mag[2]));
  });

  it('rebuilds a pure fundamental as a cosine of the published RMS value', () => {
    const s = spectrumOf(published((h) => (h === 1 ? '100' : '0')), published(() => '0'));
    const w = waveform(s, 230, 257);
    const peak = 230 * Math.SQRT2;
    assert.ok(Math.abs(w[0] - peak) < 1e-9);
    assert.ok(Math.abs(w[64]) < 1e-9);
    assert.ok(Math.abs(w[128] + peak) < 1e-9);
    assert.ok(Math.abs(w[256] - peak) < 1e-9);
  });

  it('adds the harmonics at their phases, scaled to the RMS value', () => {
    // 100 % at order 1, 50 % at order 3 with phase 90 Deg: RMS of the sum is
    // sqrt((100^2 + 50^2) / 2), so k = 10 / that.
    const s = spectrumOf(published((h) => ({ 1: '100', 3: '50' })[h] || '0'), published((h) => (h === 3 ? '90' : '0')));
    const n = 65;
    const w = waveform(s, 10, n);
    const k = 10 / Math.sqrt((100 ** 2 + 50 ** 2) / 2);
    for (let i = 0; i < n; i += 1) {
      const t = (2 * Math.PI * i) / (n - 1);
      const expected = k * (100 * Math.cos(t) + 50 * Math.cos(3 * t + Math.PI / 2));
      assert.ok(Math.abs(w[i] - expected) < 1e-9, `point ${i}`);
    }
  });

  it('draws nothing without a spectrum or a value', () => {
    const s = spectrumOf(published(() => '0'), published(() => '0'));
    assert.deepEqual([...waveform(s, 230, 5)], [0, 0, 0, 0, 0]);
    const one = spectrumOf(published((h) => (h === 1 ? '100' : '0')), published(() => '0'));
    assert.deepEqual([...waveform(one, NaN, 3)], [0, 0, 0]);
  });
});

describe('trend scale', () => {
  const rings = (times, series) => ({ times: Float64Array.from(times), values: series.map((s) => Float64Array.from(s)), count: times.length, capacity: times.length });

  it('takes the largest value of any series inside the window', () => {
    const r = rings([0, 1000, 2000, 3000], [[9, 1, 2, 1], [0, 0.7, NaN, 3.5]]);
    assert.equal(largestInWindow(r, 1000, 0.5), 3.5);
    assert.equal(largestInWindow(r, 500, 0.5), 3.5);
  });

  it('leaves out samples older than the window and keeps the floor', () => {
    const r = rings([0, 1000, 2000], [[9, 0.1, 0.2]]);
    assert.equal(largestInWindow(r, 1000, 0.5), 0.5);
    assert.equal(largestInWindow(r, 0, 0.5), 9);
  });

  it('reads only the last capacity samples of a ring that went round', () => {
    // capacity 3, five samples written: slots hold samples 3, 4, 2.
    const r = { times: Float64Array.from([3000, 4000, 2000]), values: [Float64Array.from([1, 2, 7])], count: 5, capacity: 3 };
    assert.equal(largestInWindow(r, 2500, 0), 2);
    assert.equal(largestInWindow(r, 0, 0), 7);
  });
});

describe('figures of the browser tests', () => {
  it('takes medians of odd and even lists, leaving out what is not a number', () => {
    assert.equal(median([5, 1, 3]), 3);
    assert.equal(median([4, 1, 3, 2]), 2.5);
    assert.equal(median([2, NaN, 4]), 3);
    assert.ok(Number.isNaN(median([])));
  });

  it('takes the median of the ticks from a given one on', () => {
    const entries = [[0, 100], [1, 50], [2, 12], [3, 14], [4, 13]];
    assert.equal(medianSince(entries, 2), 13);
    assert.equal(countSince(entries, 2), 3);
    assert.equal(medianSince(entries, 0), 14);
  });

  it('computes contrast ratios as WCAG 2 does', () => {
    assert.deepEqual(parseColor('rgb(255, 0, 10)'), [255, 0, 10]);
    assert.deepEqual(parseColor('rgba(1, 2, 3, 0.5)'), [1, 2, 3]);
    assert.throws(() => parseColor('red'));
    assert.equal(luminance([255, 255, 255]), 1);
    assert.equal(contrast([0, 0, 0], [255, 255, 255]), 21);
    assert.equal(contrast([255, 255, 255], [0, 0, 0]), 21);
    // #767676 on white is the well-known 4.54:1.
    assert.ok(Math.abs(contrast([0x76, 0x76, 0x76], [255, 255, 255]) - 4.54) < 0.01);
  });
});
