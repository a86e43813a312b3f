// Flicker panel (flicker_data.json): Pinst per phase now and as a rolling
// line of the last 10 minutes kept by the page (TrendChart, memory flat),
// Pst and Plt with their extremes and times, the countdowns, frequencies and
// nominal voltage.

import { el, boundTable, Bindings } from './dom.js';
import { DOC, LAYOUT } from './documents.js';
import { numberOf } from './values.js';
import { panelFrame } from './panel.js';
import { TrendChart } from './trendchart.js';

const WINDOW_MS = 10 * 60 * 1000;
const CAPACITY = 1200;
// Key, block, caption and, for tables of times, the width class.
const TABLES = [['runtime', 'flickerWindows', 'Windows', 'fit-7'], ['runtime', 'flickerFrequency', 'Frequency and voltage'],
  ['inst', 'flickerInst', 'Instantaneous'], ['shortterm', 'flickerTerm', 'Short term (Pst)', 'fit-7'],
  ['longterm', 'flickerTerm', 'Long term (Plt)', 'fit-7']];
const PHASES = LAYOUT.flickerInst.rows;

export class FlickerPanel {
  constructor(sources) {
    this.bind = new Bindings(DOC.flicker);
    const source = sources.get(DOC.flicker);
    const { section, body } = panelFrame('flicker', 'Flicker', [source]);
    this.section = section;
    this.build(body);
    source.subscribe((data) => data && this.show(data));
  }

  build(body) {
    const tables = body.appendChild(el('div', { class: 'tables' }));
    for (const [key, layout, caption, fit] of TABLES) tables.append(boundTable(this.bind, key, LAYOUT[layout], caption, fit));
    body.append(this.chart());
  }

  chart() {
    const figure = el('figure', { class: 'pinst' });
    this.trend = new TrendChart(PHASES, WINDOW_MS, CAPACITY,
      'Pinst of phases A, B and C over the last 10 minutes; the values now are in the Instantaneous table');
    const caption = figure.appendChild(el('figcaption', {}, 'Pinst, last 10 minutes, top of the scale '));
    caption.append(this.trend.scaleText);
    figure.append(this.trend.node);
    return figure;
  }

  show(data) {
    this.bind.update(data);
    const inst = Array.isArray(data.inst) ? data.inst : [];
    this.trend.add(PHASES.map((phase) => numberOf(inst[LAYOUT.flickerInst.at(phase, 'Pinst')])));
  }
}
