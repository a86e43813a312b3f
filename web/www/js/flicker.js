// Flicker panel (flicker_data.json): Pinst per phase now and as a rolling
// line of the last 10 minutes kept by the page (fixed-size ring, so memory
// stays flat), Pst and Plt with their extremes and times, the countdowns,
// frequencies and nominal voltage.

import { el, svg, setText, setAttrs, boundTable, Bindings } from './dom.js';
import { numberOf } from './values.js';
import { panelFrame } from './panel.js';

const WINDOW_MS = 10 * 60 * 1000;
const CAPACITY = 1200;
const WIDTH = 640;
const HEIGHT = 160;
const PAD = 6;
const PHASES = ['A', 'B', 'C'];
const EXTREMES = ['value', 'time', 'max', 'max time', 'min', 'min time'];

export class FlickerPanel {
  constructor(sources) {
    this.bind = new Bindings('flicker_data.json');
    this.times = new Float64Array(CAPACITY);
    this.values = [new Float64Array(CAPACITY), new Float64Array(CAPACITY), new Float64Array(CAPACITY)];
    this.count = 0;
    const source = sources.get('flicker_data.json');
    const { section, body } = panelFrame('flicker', 'Flicker', [source]);
    this.section = section;
    this.build(body);
    source.subscribe((data) => data && this.show(data));
  }

  build(body) {
    const tables = body.appendChild(el('div', { class: 'tables' }));
    tables.append(
      boundTable(this.bind, 'runtime', ['runtime'], ['peaks reset', 'time', 'Pst in', 'Plt in'], (r, c) => c, 'Windows'),
      boundTable(this.bind, 'runtime', ['frequency'], ['nominal', 'measured', 'nominal voltage'], (r, c) => c + 4, 'Frequency and voltage'),
      boundTable(this.bind, 'inst', PHASES, ['Pinst', 'voltage'], (r, c) => r * 2 + c, 'Instantaneous'),
      boundTable(this.bind, 'shortterm', PHASES, EXTREMES, extremeIndex, 'Short term (Pst)'),
      boundTable(this.bind, 'longterm', PHASES, EXTREMES, extremeIndex, 'Long term (Plt)'));
    body.append(this.chart());
  }

  chart() {
    const figure = el('figure', { class: 'pinst' });
    figure.append(el('figcaption', {}, 'Pinst, last 10 minutes'));
    const root = figure.appendChild(svg('svg', { viewBox: `0 0 ${WIDTH} ${HEIGHT}`, class: 'trend', role: 'img', 'aria-label': 'Pinst trend' }));
    root.append(svg('line', { x1: PAD, y1: HEIGHT - PAD, x2: WIDTH - PAD, y2: HEIGHT - PAD, class: 'axis' }));
    this.scaleText = root.appendChild(svg('text', { x: PAD + 2, y: PAD + 10, class: 'scale' }));
    this.lines = PHASES.map((phase, k) => root.appendChild(svg('polyline', { class: `trend-line p${k}`, 'data-phase': phase, points: '' })));
    return figure;
  }

  show(data) {
    this.bind.update(data);
    const inst = Array.isArray(data.inst) ? data.inst : [];
    this.remember(Date.now(), [numberOf(inst[0]), numberOf(inst[2]), numberOf(inst[4])]);
    this.draw();
  }

  remember(time, triple) {
    const slot = this.count % CAPACITY;
    this.times[slot] = time;
    for (let k = 0; k < 3; k += 1) this.values[k][slot] = triple[k];
    this.count += 1;
  }

  draw() {
    const now = Date.now();
    const first = Math.max(0, this.count - CAPACITY);
    let top = 0.5;
    for (let n = first; n < this.count; n += 1) {
      const slot = n % CAPACITY;
      if (now - this.times[slot] > WINDOW_MS) continue;
      for (let k = 0; k < 3; k += 1) if (Number.isFinite(this.values[k][slot])) top = Math.max(top, this.values[k][slot]);
    }
    setText(this.scaleText, top.toFixed(2));
    this.lines.forEach((line, k) => setAttrs(line, { points: this.pointsOf(k, now, first, top) }));
  }

  pointsOf(k, now, first, top) {
    const points = [];
    for (let n = first; n < this.count; n += 1) {
      const slot = n % CAPACITY;
      const age = now - this.times[slot];
      const value = this.values[k][slot];
      if (age > WINDOW_MS || !Number.isFinite(value)) continue;
      const x = PAD + (WIDTH - 2 * PAD) * (1 - age / WINDOW_MS);
      const y = HEIGHT - PAD - ((HEIGHT - 2 * PAD - 12) * value) / top;
      points.push(`${x.toFixed(1)},${y.toFixed(1)}`);
    }
    return points.join(' ');
  }
}

// Row r (phase), column c of the Pst/Plt tables: the value and its time at
// 2r, 2r+1; maxima from 6, minima from 12, two entries each.
function extremeIndex(r, c) {
  if (c < 2) return r * 2 + c;
  if (c < 4) return 6 + r * 2 + (c - 2);
  return 12 + r * 2 + (c - 4);
}
