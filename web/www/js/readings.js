// Readings panel (polling document): volts, currents, watts, vars and VAs as
// tables of channels by value kind, power factors, and the digital inputs,
// whose five samples are shown per input with the names and open/shorted
// labels of the device profile labels.

import { el, pair, wrap, setText, setAttrs, shown, boundTable, Bindings } from './dom.js';
import { DOC, LAYOUT } from './documents.js';
import { panelFrame } from './panel.js';

const TABLES = [['volts', 'Volts'], ['currents', 'Currents'], ['watts', 'Watts'], ['vars', 'VARs'], ['vas', 'VAs'], ['pfs', 'Power factors', 'fit-7']];
const INPUTS = 8;
const SAMPLES = 5;

export class ReadingsPanel {
  constructor(sources) {
    const polling = sources.get(DOC.polling);
    const labels = sources.get(DOC.labels);
    this.labels = labels;
    this.bind = new Bindings(DOC.polling);
    this.inputCells = [];
    this.inputNames = [];
    const { section, body } = panelFrame('readings', 'Readings', [polling, labels]);
    this.section = section;
    this.build(body);
    polling.subscribe((data) => data && this.show(data));
    labels.subscribe((data) => data && this.showDigins(polling.data));
  }

  build(body) {
    const top = body.appendChild(el('dl', { class: 'facts' }));
    pair(top, 'Frequency', this.bind.field('frequency'));
    pair(top, 'Thermal peaks reset', this.bind.field('last_thermal_peak_reset_time'));
    const tables = body.appendChild(el('div', { class: 'tables' }));
    for (const [key, caption, fit] of TABLES) tables.append(boundTable(this.bind, key, LAYOUT[key], caption, fit));
    const pf = body.appendChild(el('dl', { class: 'facts' }));
    pair(pf, 'Power factor display', this.bind.field('pf_display'));
    body.append(this.diginTable());
  }

  diginTable() {
    const table = el('table', { class: 'grid digins fit-7' });
    table.append(el('caption', {}, 'Digital inputs (five latest samples, oldest slot first)'));
    const head = table.appendChild(el('thead')).appendChild(el('tr'));
    head.append(el('th', { scope: 'col' }, 'input'));
    for (let s = 0; s < SAMPLES; s += 1) head.append(wrap('th', this.bind.field('digins', s), { scope: 'col' }));
    const body = table.appendChild(el('tbody'));
    for (let i = 0; i < INPUTS; i += 1) {
      const row = body.appendChild(el('tr'));
      const name = row.appendChild(el('th', { scope: 'row', 'data-input-name': String(i) }, `Input ${i + 1}`));
      this.inputNames.push(name);
      const cells = [];
      for (let s = 0; s < SAMPLES; s += 1) cells.push(row.appendChild(el('td', { 'data-input': String(i), 'data-sample': String(s), 'data-label': `sample ${s + 1}` }, '\u2014')));
      this.inputCells.push(cells);
    }
    return table;
  }

  show(data) {
    this.bind.update(data);
    this.showDigins(data);
  }

  // Bit i of a sample's published byte is input i: set = shorted.
  showDigins(data) {
    if (!data || !Array.isArray(data.digins)) return;
    const labels = this.labels.data || {};
    const names = labels.digital_input_name_label || [];
    const open = labels.digital_input_open_label || [];
    const shorted = labels.digital_input_shorted_label || [];
    for (let i = 0; i < INPUTS; i += 1) {
      setText(this.inputNames[i], names[i] === undefined ? `Input ${i + 1}` : shown(names[i]));
      for (let s = 0; s < SAMPLES; s += 1) this.showSample(this.inputCells[i][s], data.digins[s], i, open[i], shorted[i]);
    }
  }

  showSample(cell, sample, input, openLabel, shortedLabel) {
    const byte = Number.parseInt(sample, 10);
    if (!Number.isFinite(byte)) {
      setText(cell, '\u2014');
      return;
    }
    const isShorted = ((byte >> input) & 1) === 1;
    const label = isShorted ? shortedLabel : openLabel;
    setText(cell, label === undefined ? (isShorted ? 'shorted' : 'open') : shown(label));
    setAttrs(cell, { 'data-state': isShorted ? 'shorted' : 'open', class: isShorted ? 'on' : 'off' });
  }
}
