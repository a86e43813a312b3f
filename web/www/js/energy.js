// Energy and demand panel (energy_data.json with device_profile_label.json):
// the registers with their published names, Q-hours, demands, peak demands
// with their times, accumulators and aggregators named by the profile labels,
// the Q14/Q23 labels, the reset times and the register and limit names.

import { el, pair, boundTable, Bindings } from './dom.js';
import { DOC, LAYOUT, block } from './documents.js';
import { panelFrame } from './panel.js';

const DEMANDS = ['W Q14', 'W Q14 (sec)', 'W Q23', 'W Q23 (sec)', 'VAR Q12', 'VAR Q12 (sec)', 'VAR Q34', 'VAR Q34 (sec)', 'VA total', 'VA total (sec)'];
const INPUT_LABELS = ['digital_input_name_label', 'digital_input_open_label', 'digital_input_shorted_label'];
const range = (n) => Array.from({ length: n }, (_, k) => String(k + 1));
// A list of n values, one per row.
const list = (rows, column) => block(rows, [column], (r) => r);

export class EnergyPanel {
  constructor(sources) {
    this.bind = new Bindings(DOC.energy);
    this.labels = new Bindings(DOC.labels);
    const energy = sources.get(DOC.energy);
    const labels = sources.get(DOC.labels);
    const { section, body } = panelFrame('energy', 'Energy and demand', [energy, labels]);
    this.section = section;
    this.build(body);
    energy.subscribe((data) => data && this.bind.update(data));
    labels.subscribe((data) => data && this.labels.update(data));
  }

  build(body) {
    const tables = body.appendChild(el('div', { class: 'tables' }));
    tables.append(
      boundTable(this.bind, 'energyblock', LAYOUT.registers, 'Energy'),
      boundTable(this.bind, 'uncompenergyblock', LAYOUT.registers, 'Energy, uncompensated'),
      boundTable(this.bind, 'qhrblock', LAYOUT.qhours, 'Q-hours'),
      boundTable(this.bind, 'cmdblock', list(DEMANDS, 'demand'), 'Demands'),
      boundTable(this.bind, 'maxdemand', LAYOUT.peakDemand, 'Peak demands'),
      this.namedTable('accumulators', 'accumulators_label', 8, 'Accumulators'),
      this.namedTable('aggregators', 'aggregators_label', 4, 'Aggregators'));
    const facts = body.appendChild(el('dl', { class: 'facts' }));
    pair(facts, 'Q14 Wh label', this.labels.field('Q14_Whr_label'));
    pair(facts, 'Q23 Wh label', this.labels.field('Q23_Whr_label'));
    pair(facts, 'Energy reset', this.bind.field('last_energy_reset_Time'));
    pair(facts, 'Accumulators reset', this.bind.field('last_aggregator_reset_Time'));
    pair(facts, 'Peak demand reset', this.bind.field('last_peak_demand_reset_Time'));
    body.append(this.names());
  }

  // Rows named by the profile labels, with the published texts beside them.
  namedTable(key, labelKey, count, caption) {
    const table = el('table', { class: 'grid fit-4' });
    table.append(el('caption', {}, caption));
    const head = table.appendChild(el('thead')).appendChild(el('tr'));
    head.append(el('th', { scope: 'col' }, 'label'), el('th', { scope: 'col' }, 'published'));
    const tbody = table.appendChild(el('tbody'));
    for (let i = 0; i < count; i += 1) {
      const row = tbody.appendChild(el('tr'));
      const name = row.appendChild(el('th', { scope: 'row' }));
      name.append(this.labels.field(labelKey, i));
      row.appendChild(el('td', { 'data-label': 'published' })).append(this.bind.field(key, i));
    }
    return table;
  }

  names() {
    const details = el('details', { class: 'names' });
    details.append(el('summary', {}, 'Register, quadrant and limit names'));
    const tables = details.appendChild(el('div', { class: 'tables' }));
    tables.append(
      boundTable(this.bind, 'quadrantblock', list(range(17), 'name'), 'Quadrant registers'),
      boundTable(this.bind, 'iv2tblock', list(range(6), 'name'), 'I2t / V2t'),
      boundTable(this.labels, (r, c) => INPUT_LABELS[c], block(range(8), ['name', 'open', 'shorted'], (r) => r), 'Digital input labels'),
      boundTable(this.labels, 'limit_label', list(range(32), 'label'), 'Limits'));
    return details;
  }
}
