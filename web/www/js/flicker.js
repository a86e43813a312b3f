// Flicker panel (flicker_data.json): Pinst per phase now and as a rolling
// line of the last 10 minutes kept by the page (TrendChart, memory flat),
// Pst and Plt with their extremes and times, the countdowns, frequencies and
// nominal voltage.

import { el, boundTable, Bindings } from './dom.js';
import { numberOf } from './values.js';
import { panelFrame } from './panel.js';
import { TrendChart } from './trendchart.js';

const WINDOW_MS = 10 * 60 * 1000;
const CAPACITY = 1200;
const PHASES = ['A', 'B', 'C'];
const EXTREMES = ['value', 'time', 'max', 'max time', 'min', 'min time'];

export class FlickerPanel {
  constructor(sources) {
    this.bind = new Bindings('flicker_data.json');
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
    this.trend = new TrendChart(PHASES, WINDOW_MS, CAPACITY, 'Pinst trend');
    figure.append(this.trend.node);
    return figure;
  }

  show(data) {
    this.bind.update(data);
    const inst = Array.isArray(data.inst) ? data.inst : [];
    this.trend.add([numberOf(inst[0]), numberOf(inst[2]), numberOf(inst[4])]);
  }
}

// Row r (phase), column c of the Pst/Plt tables: the value and its time at
// 2r, 2r+1; maxima from 6, minima from 12, two entries each.
function extremeIndex(r, c) {
  if (c < 2) return r * 2 + c;
  if (c < 4) return 6 + r * 2 + (c - 2);
  return 12 + r * 2 + (c - 4);
}
