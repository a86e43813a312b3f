// Phasors panel: an SVG phasor diagram of the three voltages and currents
// (phase-to-neutral or phase-to-phase, selectable) drawn from the published
// magnitudes and angles of phasor_data.json, its tables, and the sequence
// components of symmetrical_components.json with the unbalance ratios.
// Angles are drawn counter-clockwise from the positive x axis. Voltages share
// one length scale (the largest voltage reaches the outer circle) and
// currents another (the largest current reaches 70 % of it).

import { el, svg, pair, setText, setAttrs, boundTable, Bindings } from './dom.js';
import { numberOf, radians, percentText } from './values.js';
import { DOC, LAYOUT, block } from './documents.js';
import { panelFrame } from './panel.js';

const SIZE = 300;
const CENTER = SIZE / 2;
const RADIUS = 130;
const CURRENT_SHARE = 0.7;
const PHASES = ['a', 'b', 'c'];
const SETS = { phasetoneutral: ['Van', 'Vbn', 'Vcn'], phasetophase: ['Vab', 'Vbc', 'Vca'] };
const SEQUENCES = ['zero_sequence', 'positive_sequence', 'negative_sequence', 'phasor'];
const UNBALANCE = [['V2/V1', 'voltage_negative_sequence', 'voltage_positive_sequence'], ['V0/V1', 'voltage_zero_sequence', 'voltage_positive_sequence'],
  ['I2/I1', 'current_negative_sequence', 'current_positive_sequence'], ['I0/I1', 'current_zero_sequence', 'current_positive_sequence']];
const BLOCKS = [['phasetoneutral', 'Phase to neutral'], ['phasetophase', 'Phase to phase'], ['vauxblock', 'Auxiliary voltage'],
  ['iauxblock', 'Auxiliary current'], ['earthblock', 'Earth']];
// The six lines of the diagram: three voltages, then three currents.
const LINES = [0, 1, 2, 0, 1, 2].map((phase, k) => (k < 3 ? { phase, magnitude: 'V', angle: 'V angle' } : { phase, magnitude: 'I', angle: 'I angle' }));

export class PhasorsPanel {
  constructor(sources) {
    this.phasor = sources.get(DOC.phasor);
    const symm = sources.get(DOC.symm);
    this.bind = new Bindings(DOC.phasor);
    this.symmBind = new Bindings(DOC.symm);
    this.set = 'phasetoneutral';
    this.lines = [];
    this.unbalance = new Map();
    const { section, body } = panelFrame('phasors', 'Phasors', [this.phasor, symm]);
    this.section = section;
    this.build(body);
    this.phasor.subscribe((data) => data && this.show(data));
    symm.subscribe((data) => data && this.showSymm(data));
  }

  build(body) {
    const top = body.appendChild(el('dl', { class: 'facts' }));
    pair(top, 'Frequency', this.bind.field('frequency'));
    pair(top, 'Hookup', this.bind.field('hookup'));
    const figure = body.appendChild(el('figure', { class: 'phasor-figure' }));
    figure.append(this.chooser(), this.diagram());
    const tables = body.appendChild(el('div', { class: 'tables' }));
    for (const [key, caption] of BLOCKS) tables.append(boundTable(this.bind, key, LAYOUT[key], caption));
    body.append(this.symmetrical());
  }

  chooser() {
    const label = el('label', { class: 'chooser' }, 'Voltages ');
    const select = label.appendChild(el('select', { id: 'phasor-set' }));
    select.append(el('option', { value: 'phasetoneutral' }, 'phase to neutral'), el('option', { value: 'phasetophase' }, 'phase to phase'));
    select.addEventListener('change', () => {
      this.set = select.value;
      if (this.phasor.data) this.draw(this.phasor.data);
    });
    return label;
  }

  diagram() {
    const root = svg('svg', { viewBox: `0 0 ${SIZE} ${SIZE}`, class: 'phasor-diagram', role: 'img',
      'aria-label': 'Phasor diagram of the voltages and currents of the tables below' });
    root.append(svg('circle', { cx: CENTER, cy: CENTER, r: RADIUS, class: 'axis' }));
    root.append(svg('line', { x1: CENTER - RADIUS, y1: CENTER, x2: CENTER + RADIUS, y2: CENTER, class: 'axis' }));
    root.append(svg('line', { x1: CENTER, y1: CENTER - RADIUS, x2: CENTER, y2: CENTER + RADIUS, class: 'axis' }));
    for (let k = 0; k < 6; k += 1) {
      const kind = k < 3 ? 'voltage' : 'current';
      const line = svg('line', { x1: CENTER, y1: CENTER, x2: CENTER, y2: CENTER, class: `phasor ${kind} p${k % 3}`, 'data-kind': kind, 'data-phase': PHASES[k % 3] });
      const label = svg('text', { x: CENTER, y: CENTER, class: `phasor-label p${k % 3}` });
      root.append(line, label);
      this.lines.push({ line, label });
    }
    return root;
  }

  symmetrical() {
    const box = el('div', { class: 'tables' });
    const { columns, index } = LAYOUT.sequence;
    // One array per row (sequence), each laid out as the sequence block.
    const rows = block(['zero', 'positive', 'negative', 'phasor'], columns, (r, c) => index(0, c));
    for (const quantity of ['voltage', 'current']) {
      const keyOf = (r) => `${quantity}_${SEQUENCES[r]}`;
      box.append(boundTable(this.symmBind, keyOf, rows, `Sequence components, ${quantity}`));
    }
    const facts = box.appendChild(el('dl', { class: 'facts' }));
    for (const [ratio] of UNBALANCE) {
      const node = el('span', { 'data-unbalance': ratio }, '\u2014');
      this.unbalance.set(ratio, node);
      pair(facts, `Unbalance ${ratio}`, node);
    }
    facts.append(el('dt', {}, 'Frequency / hookup (sequence document)'));
    const both = facts.appendChild(el('dd'));
    both.append(this.symmBind.field('frequency'), ' / ', this.symmBind.field('hookup'));
    return box;
  }

  show(data) {
    this.bind.update(data);
    this.draw(data);
  }

  // Lines from the centre at the published angles, lengths in proportion to
  // the published magnitudes within voltages and within currents.
  draw(data) {
    const values = Array.isArray(data[this.set]) ? data[this.set] : [];
    const layout = LAYOUT[this.set];
    const magnitudeAt = LINES.map(({ phase, magnitude }) => layout.at(phase, magnitude));
    const angleAt = LINES.map(({ phase, angle }) => layout.at(phase, angle));
    const mags = magnitudeAt.map((k) => numberOf(values[k]));
    const angles = angleAt.map((k) => numberOf(values[k]));
    const vMax = Math.max(...mags.slice(0, 3).filter(Number.isFinite), 0);
    const iMax = Math.max(...mags.slice(3).filter(Number.isFinite), 0);
    const names = SETS[this.set].concat(['Ia', 'Ib', 'Ic']);
    this.lines.forEach(({ line, label }, k) => {
      const full = k < 3 ? RADIUS : RADIUS * CURRENT_SHARE;
      const max = k < 3 ? vMax : iMax;
      const ok = Number.isFinite(mags[k]) && Number.isFinite(angles[k]) && max > 0;
      const length = ok ? (full * mags[k]) / max : 0;
      const angle = ok ? radians(angles[k]) : 0;
      const x2 = CENTER + length * Math.cos(angle);
      const y2 = CENTER - length * Math.sin(angle);
      setAttrs(line, { x2: x2.toFixed(3), y2: y2.toFixed(3), 'data-name': names[k], 'data-magnitude': values[magnitudeAt[k]] ?? '', 'data-angle': values[angleAt[k]] ?? '' });
      setAttrs(label, { x: (CENTER + (length + 10) * Math.cos(angle)).toFixed(1), y: (CENTER - (length + 10) * Math.sin(angle) + 4).toFixed(1) });
      setText(label, names[k]);
    });
  }

  showSymm(data) {
    this.symmBind.update(data);
    const magnitude = LAYOUT.sequence.at('values', 'a');
    const mag = (key) => numberOf(Array.isArray(data[key]) ? data[key][magnitude] : undefined);
    for (const [ratio, part, whole] of UNBALANCE) setText(this.unbalance.get(ratio), percentText(mag(part), mag(whole)));
  }
}
