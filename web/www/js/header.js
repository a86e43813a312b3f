// Header panel: designation, meter time, power-on time, hookup, nominal
// frequency and phase sequence (polling document), the factory record, and
// how fresh every document is.

import { el, pair, setText, Bindings } from './dom.js';
import { DOC, UNDATED } from './documents.js';

// Columns of the documents table: heading and class.
const FRESHNESS = [['state', 'state'], ['last good read', 'age'], ['dateTime', 'time']];

export class HeaderPanel {
  constructor(sources) {
    this.sources = sources;
    this.polling = new Bindings(DOC.polling);
    this.factory = new Bindings(DOC.factory);
    this.ages = new Map();
    this.section = this.build();
    sources.get(DOC.polling).subscribe((data) => data && this.polling.update(data));
    sources.get(DOC.factory).subscribe((data) => data && this.factory.update(data));
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
    const details = el('details', { class: 'freshness' });
    details.open = innerWidth >= 700; // folded on a phone
    details.append(el('summary', {}, 'Documents'));
    const table = details.appendChild(el('table', { class: 'grid fit-7' }));
    table.append(el('caption', { class: 'vh' }, 'State of every document read by the page'));
    const head = table.appendChild(el('thead')).appendChild(el('tr'));
    for (const [name] of [['document'], ...FRESHNESS]) head.append(el('th', { scope: 'col' }, name));
    const body = table.appendChild(el('tbody'));
    for (const source of this.sources.values()) body.append(this.freshnessRow(source));
    return details;
  }

  freshnessRow(source) {
    const row = el('tr', { 'data-fresh-for': source.name });
    row.append(el('th', { scope: 'row' }, source.name));
    const [state, age, time] = FRESHNESS.map(([label, cls]) => row.appendChild(el('td', { 'data-label': label, class: cls })));
    setText(state, source.state);
    setText(age, 'never');
    if (!UNDATED.includes(source.name)) {
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
