// Phasors panel: an SVG phasor diagram of the three voltages and currents
// (phase-to-neutral or phase-to-phase, selectable) drawn from the published
// magnitudes and angles of phasor_data.json, its tables, and the sequence
// components of symmetrical_components.json with the unbalance ratios.
// Angles are drawn counter-clockwise from the positive x axis. Voltages share
// one length scale (the largest voltage reaches the outer circle) and
// currents another (the largest current reaches 70 % of it).

import { el, svg, pair, setText, setAttrs, boundTable, Bindings } from './dom.js';
import { numberOf, radians, percentText } from './values.js';
import { panelFrame } from './panel.js';

const SIZE = 300;
const CENTER = SIZE / 2;
const RADIUS = 130;
const CURRENT_SHARE = 0.7;
const PHASES = ['a', 'b', 'c'];
const COLUMNS = ['V', 'I', 'W', 'VA', 'V angle', 'I angle', 'V-I angle'];
const SETS = { phasetoneutral: ['Van', 'Vbn', 'Vcn'], phasetophase: ['Vab', 'Vbc', 'Vca'] };
const SEQUENCES = ['zero_sequence', 'positive_sequence', 'negative_sequence', 'phasor'];

export class PhasorsPanel {
  constructor(sources) {
    this.phasor = sources.get('phasor_data.json');
    const symm = sources.get('symmetrical_components.json');
    this.bind = new Bindings('phasor_data.json');
    this.symmBind = new Bindings('symmetrical_components.json');
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
    const index = (r, c) => c * 3 + r;
    tables.append(
      boundTable(this.bind, 'phasetoneutral', PHASES, COLUMNS, index, 'Phase to neutral'),
      boundTable(this.bind, 'phasetophase', ['ab', 'bc', 'ca'], COLUMNS, index, 'Phase to phase'),
      boundTable(this.bind, 'vauxblock', ['aux voltage'], ['value', 'angle'], (r, c) => c, 'Auxiliary voltage'),
      boundTable(this.bind, 'iauxblock', ['aux current'], ['value', 'angle'], (r, c) => c, 'Auxiliary current'),
      boundTable(this.bind, 'earthblock', ['earth'], ['1', '2', '3', '4'], (r, c) => c, 'Earth'));
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
    const root = svg('svg', { viewBox: `0 0 ${SIZE} ${SIZE}`, class: 'phasor-diagram', role: 'img', 'aria-label': 'phasor diagram' });
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
    const cols = ['a', 'b', 'c', 'a angle', 'b angle', 'c angle'];
    const rows = ['zero', 'positive', 'negative', 'phasor'];
    for (const quantity of ['voltage', 'current']) {
      const keyOf = (r) => `${quantity}_${SEQUENCES[r]}`;
      box.append(boundTable(this.symmBind, keyOf, rows, cols, (r, c) => c, `Sequence components, ${quantity}`));
    }
    const facts = box.appendChild(el('dl', { class: 'facts' }));
    for (const ratio of ['V2/V1', 'V0/V1', 'I2/I1', 'I0/I1']) {
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
    const mags = [0, 1, 2, 3, 4, 5].map((k) => numberOf(values[k]));
    const angles = [12, 13, 14, 15, 16, 17].map((k) => numberOf(values[k]));
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
      setAttrs(line, { x2: x2.toFixed(3), y2: y2.toFixed(3), 'data-name': names[k], 'data-magnitude': values[k] ?? '', 'data-angle': values[k + 12] ?? '' });
      setAttrs(label, { x: (CENTER + (length + 10) * Math.cos(angle)).toFixed(1), y: (CENTER - (length + 10) * Math.sin(angle) + 4).toFixed(1) });
      setText(label, names[k]);
    });
  }

  showSymm(data) {
    this.symmBind.update(data);
    const mag = (key) => numberOf(Array.isArray(data[key]) ? data[key][0] : undefined);
    setText(this.unbalance.get('V2/V1'), percentText(mag('voltage_negative_sequence'), mag('voltage_positive_sequence')));
    setText(this.unbalance.get('V0/V1'), percentText(mag('voltage_zero_sequence'), mag('voltage_positive_sequence')));
    setText(this.unbalance.get('I2/I1'), percentText(mag('current_negative_sequence'), mag('current_positive_sequence')));
    setText(this.unbalance.get('I0/I1'), percentText(mag('current_zero_sequence'), mag('current_positive_sequence')));
  }
}
