// Harmonics panel (thd_data.json): per channel a bar chart of the magnitude
// of each harmonic order in % of the fundamental (orders 1-63, or 1-127 on
// request), the phase angle of a bar on hover or keyboard focus, and one
// period of the channel's waveform rebuilt from its spectrum (waveform.js).

import { el, boundTable, Bindings } from './dom.js';
import { DOC, block } from './documents.js';
import { panelFrame } from './panel.js';
import { ChannelChart } from './channelchart.js';

const CHANNELS = [
  { id: 'va', name: 'Va', value: 'voltA' }, { id: 'vb', name: 'Vb', value: 'voltB' }, { id: 'vc', name: 'Vc', value: 'voltC' },
  { id: 'ia', name: 'Ia', value: 'currentA' }, { id: 'ib', name: 'Ib', value: 'currentB' }, { id: 'ic', name: 'Ic', value: 'currentC' },
];

// A channel's value array: value, THD, TDD, and for currents the K-factor.
const DISTORTION = ['value', 'THD', 'TDD', 'K-factor'];

export class HarmonicsPanel {
  constructor(sources) {
    this.source = sources.get(DOC.thd);
    this.bind = new Bindings(DOC.thd);
    this.maxOrder = 63;
    this.zoom = false;
    const { section, body } = panelFrame('harmonics', 'Harmonics', [this.source]);
    this.section = section;
    this.build(body);
    this.source.subscribe((data) => data && this.show(data));
  }

  build(body) {
    const top = body.appendChild(el('div', { class: 'controls' }));
    top.append(el('span', {}, 'Frequency '), this.bind.field('frequency'));
    top.append(this.rangeChooser(), this.zoomChooser());
    const tables = body.appendChild(el('div', { class: 'tables' }));
    tables.append(
      boundTable(this.bind, (r) => CHANNELS[r].value, block(['Va', 'Vb', 'Vc'], DISTORTION.slice(0, 3), (r, c) => c), 'Voltage distortion'),
      boundTable(this.bind, (r) => CHANNELS[r + 3].value, block(['Ia', 'Ib', 'Ic'], DISTORTION, (r, c) => c), 'Current distortion'));
    const grid = body.appendChild(el('div', { class: 'charts' }));
    this.charts = CHANNELS.map((channel) => {
      const chart = new ChannelChart(channel);
      grid.append(chart.node);
      return chart;
    });
  }

  rangeChooser() {
    const label = el('label', { class: 'chooser' }, 'Orders ');
    const select = label.appendChild(el('select', { id: 'harmonic-range' }));
    select.append(el('option', { value: '63' }, '1 to 63'), el('option', { value: '127' }, '1 to 127'));
    select.addEventListener('change', () => {
      this.maxOrder = Number(select.value);
      this.redraw();
    });
    return label;
  }

  zoomChooser() {
    const label = el('label', { class: 'chooser' });
    const box = label.appendChild(el('input', { type: 'checkbox', id: 'harmonic-zoom' }));
    label.append(' scale to the largest harmonic');
    box.addEventListener('change', () => {
      this.zoom = box.checked;
      this.redraw();
    });
    return label;
  }

  redraw() {
    if (this.source.data) this.show(this.source.data);
  }

  show(data) {
    this.bind.update(data);
    for (const chart of this.charts) chart.show(data, this.maxOrder, this.zoom);
  }
}

