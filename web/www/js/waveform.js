// The spectrum of one harmonics channel and the waveform rebuilt from it,
//   w(t) = k * sum over h = 1..127 of m_h cos(h t + p_h),  t in [0, 2 pi)
// with m_h the magnitude in % of the fundamental and p_h the phase; k makes
// its RMS value (sqrt(sum m_h^2 / 2) k) the channel's published value.

import { numberOf } from './values.js';

// The arrays run from order 127 down to order 0: order h is element 127 - h.
export const ORDERS = 127;

// Orders 0..127 from the reversed published arrays: numbers and texts.
export function spectrumOf(mags, phases) {
  const mag = new Float64Array(ORDERS + 1);
  const phase = new Float64Array(ORDERS + 1);
  const magText = new Array(ORDERS + 1);
  const phaseText = new Array(ORDERS + 1);
  for (let h = 0; h <= ORDERS; h += 1) {
    magText[h] = String(mags[ORDERS - h] ?? 'n/a');
    phaseText[h] = String(phases[ORDERS - h] ?? 'n/a');
    mag[h] = numberOf(mags[ORDERS - h]);
    phase[h] = numberOf(phases[ORDERS - h]);
  }
  return { mag, phase, magText, phaseText };
}

// One period sampled at n points (t = 2 pi i / (n - 1)), scaled to rms.
// h t is a whole multiple of 2 pi / (n - 1), so cos(h t + p) is taken as
// cos(h t) cos p - sin(h t) sin p with cos(h t) and sin(h t) from one table of
// n - 1 angles: no cosine is computed per point.
export function waveform(spectrum, rms, n) {
  const out = new Float64Array(n);
  let sumSquares = 0;
  for (let h = 1; h <= ORDERS; h += 1) if (Number.isFinite(spectrum.mag[h])) sumSquares += spectrum.mag[h] ** 2;
  if (!(sumSquares > 0) || !Number.isFinite(rms)) return out;
  const k = rms / Math.sqrt(sumSquares / 2);
  const { cos, sin } = unitCircle(n - 1);
  for (let h = 1; h <= ORDERS; h += 1) {
    const m = spectrum.mag[h];
    if (!(m > 0) || !Number.isFinite(spectrum.phase[h])) continue;
    const p = (spectrum.phase[h] * Math.PI) / 180;
    const a = k * m * Math.cos(p);
    const b = k * m * Math.sin(p);
    for (let i = 0, j = 0; i < n; i += 1) {
      out[i] += a * cos[j] - b * sin[j];
      j += h;
      if (j >= n - 1) j %= n - 1;
    }
  }
  return out;
}

const circles = new Map();

// cos and sin of 2 pi j / steps for j = 0 .. steps - 1 (made once per size).
function unitCircle(steps) {
  let circle = circles.get(steps);
  if (!circle) {
    circle = { cos: new Float64Array(steps), sin: new Float64Array(steps) };
    for (let j = 0; j < steps; j += 1) {
      circle.cos[j] = Math.cos((2 * Math.PI * j) / steps);
      circle.sin[j] = Math.sin((2 * Math.PI * j) / steps);
    }
    circles.set(steps, circle);
  }
  return circle;
}
