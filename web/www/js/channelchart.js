// One channel of the harmonics panel: the spectrum bar chart and the
// waveform rebuilt from it (waveform.js). The polyline carries data-y0 (the y
// of zero) and data-scale (pixels per unit): the drawn values can be read back.

import { el, svg, setText, setAttrs } from './dom.js';
import { numberOf } from './values.js';
import { ORDERS, spectrumOf, waveform } from './waveform.js';

const WIDTH = 640;
const BAR_HEIGHT = 140;
const WAVE_HEIGHT = 140;
const PAD = 4;
const WAVE_POINTS = 256;
// Keys moving between bars: the order each leads to.
const MOVES = {
  ArrowRight: (h) => h + 1, ArrowUp: (h) => h + 1, ArrowLeft: (h) => h - 1, ArrowDown: (h) => h - 1,
  PageUp: (h) => h + 10, PageDown: (h) => h - 10, Home: () => 1, End: (h, last) => last,
};

export class ChannelChart {
  constructor(channel) {
    this.channel = channel;
    this.bars = [];
    this.shownOrders = 0;
    this.current = 1;
    this.readoutId = `readout-${channel.id}`;
    this.node = el('figure', { class: 'channel', 'data-channel': channel.id });
    this.node.append(el('figcaption', {}, channel.name));
    this.readout = el('p', { class: 'readout', id: this.readoutId }, 'point at a bar or focus it for its magnitude and phase angle');
    this.node.append(this.barChart(), this.readout, this.waveChart());
  }

  // Bars stand on the axis in a flipped group: a new magnitude changes a
  // bar's height only. One tab stop: the current bar; the arrow keys, Page
  // Up/Down (by ten), Home and End move between the bars.
  barChart() {
    const root = svg('svg', { viewBox: `0 0 ${WIDTH} ${BAR_HEIGHT + 2 * PAD}`, class: 'spectrum', role: 'group',
      'aria-label': `${this.channel.name} harmonic spectrum in % of the fundamental; arrow keys move between orders` });
    root.append(svg('line', { x1: PAD, y1: BAR_HEIGHT + PAD, x2: WIDTH - PAD, y2: BAR_HEIGHT + PAD, class: 'axis' }));
    this.barGroup = root.appendChild(svg('g', { class: 'bars', transform: `translate(0 ${BAR_HEIGHT + PAD}) scale(1 -1)` }));
    for (let h = 1; h <= ORDERS; h += 1) this.bars.push(this.makeBar(h));
    root.addEventListener('keydown', (event) => this.move(event));
    return root;
  }

  move(event) {
    const to = MOVES[event.key];
    if (!to) return;
    event.preventDefault();
    this.focusBar(Math.min(this.shownOrders, Math.max(1, to(this.current, this.shownOrders))));
  }

  // Makes the bar of an order the chart's tab stop, focusing it when asked.
  focusBar(order, focus = true) {
    const before = this.bars[this.current - 1].rect;
    const after = this.bars[order - 1].rect;
    before.setAttribute('tabindex', '-1');
    after.setAttribute('tabindex', '0');
    this.current = order;
    if (focus) after.focus();
  }

  // A bar's tooltip (<title>) and the readout, which describes the focused
  // bar, are written when it is pointed at or focused.
  makeBar(order) {
    const rect = svg('rect', {
      class: 'bar', tabindex: order === 1 ? '0' : '-1', role: 'img', 'aria-label': `order ${order}`,
      'aria-describedby': this.readoutId, 'data-order': String(order), y: '0', height: '0',
    });
    const title = rect.appendChild(svg('title'));
    const tell = () => {
      const text = this.describe(order);
      setText(title, text);
      setText(this.readout, text);
    };
    rect.addEventListener('mouseenter', tell);
    rect.addEventListener('focus', () => {
      if (order !== this.current) this.focusBar(order, false);
      tell();
    });
    return { rect, shown: { class: 'bar', height: '0' } };
  }

  describe(order) {
    const s = this.spectrum;
    return s ? `order ${order}: ${s.magText[order]} %, phase ${s.phaseText[order]} Deg` : `order ${order}: no data yet`;
  }

  waveChart() {
    const root = svg('svg', { viewBox: `0 0 ${WIDTH} ${WAVE_HEIGHT}`, class: 'waveform', role: 'img',
      'aria-label': `One period of ${this.channel.name} rebuilt from the spectrum above` });
    root.append(svg('line', { x1: 0, y1: WAVE_HEIGHT / 2, x2: WIDTH, y2: WAVE_HEIGHT / 2, class: 'axis' }));
    this.wave = root.appendChild(svg('polyline', { class: 'wave', points: '' }));
    return root;
  }

  show(data, maxOrder, zoom) {
    const mags = data[`${this.channel.id}_mag`];
    const phases = data[`${this.channel.id}_phs`];
    if (!Array.isArray(mags) || !Array.isArray(phases)) return;
    const spectrum = spectrumOf(mags, phases);
    this.drawBars(spectrum, maxOrder, zoom);
    const value = data[this.channel.value];
    this.drawWave(spectrum, numberOf(Array.isArray(value) ? value[0] : undefined));
  }

  drawBars(spectrum, maxOrder, zoom) {
    this.spectrum = spectrum;
    const placed = this.showOrders(maxOrder);
    const from = zoom ? 2 : 1;
    let top = 0;
    for (let h = from; h <= maxOrder; h += 1) top = Math.max(top, spectrum.mag[h] || 0);
    const step = (WIDTH - 2 * PAD) / maxOrder;
    for (let h = 1; h <= maxOrder; h += 1) {
      const bar = this.bars[h - 1];
      if (placed) setAttrs(bar.rect, { x: (PAD + (h - 1) * step + step * 0.1).toFixed(3), width: (step * 0.8).toFixed(3) });
      const mag = spectrum.mag[h];
      const height = top > 0 && Number.isFinite(mag) ? Math.min(BAR_HEIGHT, (BAR_HEIGHT * mag) / top) : 0;
      setShown(bar, 'height', height.toFixed(4));
      setShown(bar, 'data-magnitude', spectrum.magText[h]);
      setShown(bar, 'data-phase', spectrum.phaseText[h]);
      setShown(bar, 'class', zoom && h === 1 && mag > top ? 'bar clipped' : 'bar');
    }
  }

  // Keeps exactly one bar per order of the chosen range in the chart; true
  // when the range changed (the bars are then placed anew).
  showOrders(maxOrder) {
    if (this.shownOrders === maxOrder) return false;
    while (this.barGroup.firstChild) this.barGroup.firstChild.remove();
    for (let h = 1; h <= maxOrder; h += 1) this.barGroup.append(this.bars[h - 1].rect);
    this.shownOrders = maxOrder;
    if (this.current > maxOrder) this.focusBar(1, false);
    return true;
  }

  drawWave(spectrum, rms) {
    const samples = waveform(spectrum, rms, WAVE_POINTS);
    let peak = 0;
    for (const v of samples) peak = Math.max(peak, Math.abs(v));
    const y0 = WAVE_HEIGHT / 2;
    const scale = peak > 0 ? (WAVE_HEIGHT / 2 - PAD) / peak : 0;
    const points = [];
    samples.forEach((v, k) => points.push(`${((k * WIDTH) / (WAVE_POINTS - 1)).toFixed(2)},${(y0 - v * scale).toFixed(3)}`));
    setAttrs(this.wave, { points: points.join(' '), 'data-y0': y0, 'data-scale': scale, 'data-rms': Number.isFinite(rms) ? rms : '' });
  }
}

// Sets an attribute of a bar when its value changed; the values set are kept
// in bar.shown, so nothing is read back from the DOM.
function setShown(bar, name, text) {
  if (bar.shown[name] === text) return;
  bar.rect.setAttribute(name, text);
  bar.shown[name] = text;
}
