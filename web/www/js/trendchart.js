// A rolling SVG line chart of the last windowMs of a few series (Pinst per
// phase). Each polyline holds its samples as (seconds, value) points and one
// transform maps them onto the chart: a new sample appends one point and drops
// those that left the window, instead of rewriting every point each second.
// The samples are also kept in fixed-size rings (memory stays flat) for the
// vertical scale, the largest value in the window. Times are
// performance.now(), so a change of the wall clock does not move the lines.

import { el, svg, setText, setAttrs } from './dom.js';

const WIDTH = 640;
const HEIGHT = 160;
const PAD = 6;
const TOP_ROOM = 12;
// Points are kept small numbers (float precision of SVG geometry): every hour
// the time origin moves up and the lines are rebuilt from the rings.
const REBASE_S = 3600;
// The scale reaches at least this value.
const SMALLEST_TOP = 0.5;

export class TrendChart {
  // names: one per series (data-phase of its polyline); capacity: ring size.
  constructor(names, windowMs, capacity, label) {
    this.windowS = windowMs / 1000;
    this.capacity = capacity;
    this.times = new Float64Array(capacity);
    this.values = names.map(() => new Float64Array(capacity));
    this.count = 0;
    this.originMs = performance.now();
    this.node = svg('svg', { viewBox: `0 0 ${WIDTH} ${HEIGHT}`, class: 'trend', role: 'img', 'aria-label': label });
    this.node.append(svg('line', { x1: PAD, y1: HEIGHT - PAD, x2: WIDTH - PAD, y2: HEIGHT - PAD, class: 'axis' }));
    // The top of the scale is a text beside the chart, legible at any width.
    this.scaleText = el('span', { class: 'scale' }, '');
    this.group = this.node.appendChild(svg('g', { class: 'trend-lines' }));
    this.lines = names.map((name, k) => this.group.appendChild(svg('polyline', { class: `trend-line p${k}`, 'data-phase': name, points: '' })));
  }

  // Adds one sample per series (NaN: no point) taken now, and redraws.
  add(samples) {
    const nowMs = performance.now();
    this.remember(nowMs, samples);
    if ((nowMs - this.originMs) / 1000 > REBASE_S) this.rebase(nowMs);
    else samples.forEach((value, k) => this.append(k, (nowMs - this.originMs) / 1000, value));
    this.dropOld((nowMs - this.originMs) / 1000 - this.windowS);
    this.place(nowMs);
  }

  remember(nowMs, samples) {
    const slot = this.count % this.capacity;
    this.times[slot] = nowMs;
    this.values.forEach((ring, k) => { ring[slot] = samples[k]; });
    this.count += 1;
  }

  append(k, seconds, value) {
    if (!Number.isFinite(value)) return;
    const point = this.node.createSVGPoint();
    point.x = seconds;
    point.y = value;
    this.lines[k].points.appendItem(point);
  }

  dropOld(oldestS) {
    for (const line of this.lines) {
      const { points } = line;
      while (points.numberOfItems > 0 && points.getItem(0).x < oldestS) points.removeItem(0);
    }
  }

  // Moves the time origin to the oldest sample of the window and rebuilds the
  // lines from the rings.
  rebase(nowMs) {
    this.originMs = nowMs - this.windowS * 1000;
    for (const line of this.lines) line.points.clear();
    for (let n = Math.max(0, this.count - this.capacity); n < this.count; n += 1) {
      const slot = n % this.capacity;
      this.values.forEach((ring, k) => this.append(k, (this.times[slot] - this.originMs) / 1000, ring[slot]));
    }
  }

  // The largest value of the window sets the vertical scale (at least 0.5);
  // the right edge of the chart is now.
  place(nowMs) {
    const top = this.largest(nowMs);
    const a = (WIDTH - 2 * PAD) / this.windowS;
    const e = WIDTH - PAD - a * ((nowMs - this.originMs) / 1000);
    const d = -(HEIGHT - 2 * PAD - TOP_ROOM) / top;
    setAttrs(this.group, { transform: `matrix(${a} 0 0 ${d} ${e} ${HEIGHT - PAD})` });
    setText(this.scaleText, top.toFixed(2));
  }

  largest(nowMs) {
    return largestInWindow(this, nowMs - this.windowS * 1000, SMALLEST_TOP);
  }
}

// The largest value of any series sampled at or after sinceMs, at least
// floor. rings: { times, values: [series], count, capacity } as TrendChart
// keeps them (only the last capacity samples are there).
export function largestInWindow(rings, sinceMs, floor) {
  let top = floor;
  for (let n = Math.max(0, rings.count - rings.capacity); n < rings.count; n += 1) {
    const slot = n % rings.capacity;
    if (rings.times[slot] < sinceMs) continue;
    for (const ring of rings.values) if (Number.isFinite(ring[slot])) top = Math.max(top, ring[slot]);
  }
  return top;
}
