// Header panel: designation, meter time, power-on time, hookup, nominal
// frequency and phase sequence (polling document), the factory record, and
// how fresh every document is.

import { el, pair, setText, Bindings } from './dom.js';

export class HeaderPanel {
  constructor(sources) {
    this.sources = sources;
    this.polling = new Bindings('polling_data.json');
    this.factory = new Bindings('meter_factory_setting.json');
    this.dateTimes = new Map();
    this.ages = new Map();
    this.section = this.build();
    sources.get('polling_data.json').subscribe((data) => data && this.polling.update(data));
    sources.get('meter_factory_setting.json').subscribe((data) => data && this.factory.update(data));
  }

  build() {
    const section = el('header', { class: 'page-head', id: 'head' });
    const title = section.appendChild(el('h1'));
    title.append(this.polling.field('meterDesignation'));
    const facts = section.appendChild(el('dl', { class: 'facts' }));
    pair(facts, 'Meter time', this.polling.field('dateTime'));
    pair(facts, 'Powered on', this.polling.field('powerOnTime'));
    pair(facts, 'Hookup', this.polling.field('hookup'));
    pair(facts, 'Nominal frequency', this.polling.field('nominalFrequency'));
    pair(facts, 'Phase sequence', this.polling.field('phaseSequence'));
    pair(facts, 'Factory record', this.factory.field('_status'));
    pair(facts, 'Serial number', this.factory.field('serial_number'));
    pair(facts, 'OEM', this.factory.field('oem_string'));
    section.append(this.freshnessTable());
    return section;
  }

  freshnessTable() {
    const details = el('details', { class: 'freshness', open: '' });
    details.append(el('summary', {}, 'Documents'));
    const table = details.appendChild(el('table', { class: 'grid' }));
    const head = table.appendChild(el('thead')).appendChild(el('tr'));
    for (const name of ['document', 'state', 'last good read', 'dateTime']) head.append(el('th', { scope: 'col' }, name));
    const body = table.appendChild(el('tbody'));
    for (const source of this.sources.values()) body.append(this.freshnessRow(source));
    return details;
  }

  freshnessRow(source) {
    const row = el('tr', { 'data-fresh-for': source.name });
    row.append(el('th', { scope: 'row' }, source.name));
    const state = row.appendChild(el('td', { class: 'state' }, source.state));
    const age = row.appendChild(el('td', { class: 'age' }, 'never'));
    const time = row.appendChild(el('td'));
    if (source.name !== 'meter_factory_setting.json' && source.name !== 'device_profile_label.json') {
      const binding = new Bindings(source.name);
      time.append(binding.field('dateTime'));
      source.subscribe((data) => data && binding.update(data));
    }
    source.subscribe(() => setText(state, source.state));
    this.ages.set(source, age);
    return row;
  }

  // Called after every tick: ages of the last good reads.
  refreshAges() {
    const now = Date.now();
    for (const [source, node] of this.ages) {
      const text = source.lastGoodAt ? `${((now - source.lastGoodAt) / 1000).toFixed(1)} s ago` : 'never';
      setText(node, text);
    }
  }
}
