// Small DOM helpers. Every text that comes from a document goes in through
// textContent (never innerHTML), so labels holding markup or quotes show
// literally.

const SVG_NS = 'http://www.w3.org/2000/svg';

// Creates an HTML element with attributes and an optional text.
export function el(tag, attrs = {}, text) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attrs)) node.setAttribute(name, value);
  if (text !== undefined) node.textContent = text;
  return node;
}

// Creates an SVG element with attributes.
export function svg(tag, attrs = {}) {
  const node = document.createElementNS(SVG_NS, tag);
  for (const [name, value] of Object.entries(attrs)) node.setAttribute(name, value);
  return node;
}

// Sets a node's text only when it changed. A node holding one text node gets
// that node's data changed in place: no node is created or dropped, so the
// browser relayouts the one text instead of rebuilding it.
export function setText(node, text) {
  const only = node.firstChild;
  if (only !== null && only.nodeType === Node.TEXT_NODE && only.nextSibling === null) {
    if (only.data !== text) only.data = text;
  } else if (node.textContent !== text) {
    node.textContent = text;
  }
}

// Sets attributes of an element, only those that changed.
export function setAttrs(node, attrs) {
  for (const [name, value] of Object.entries(attrs)) {
    const text = String(value);
    if (node.getAttribute(name) !== text) node.setAttribute(name, text);
  }
}

// The text a document value is shown as: strings as published, null as a dash.
export function shown(value) {
  if (value === null || value === undefined) return '\u2014';
  return typeof value === 'string' ? value : JSON.stringify(value);
}

// A field bound to one value of one document: <span data-doc data-key [data-i]>.
// The binding list is kept so an update walks it without querying the DOM.
export class Bindings {
  constructor(doc) {
    this.doc = doc;
    this.fields = [];
  }

  // Returns a new element showing doc[key] (or doc[key][index]).
  field(key, index, tag = 'span') {
    const attrs = { 'data-doc': this.doc, 'data-key': key };
    if (index !== undefined) attrs['data-i'] = String(index);
    const node = el(tag, attrs, '\u2014');
    this.fields.push({ node, key, index });
    return node;
  }

  // Shows the values of a freshly parsed document in every bound field.
  update(data) {
    for (const { node, key, index } of this.fields) {
      const value = index === undefined ? data[key] : (Array.isArray(data[key]) ? data[key][index] : undefined);
      setText(node, shown(value));
    }
  }
}

// Header abbreviations, spelled out.
const ABBREVIATIONS = {
  V: 'voltage', I: 'current', W: 'active power', VA: 'apparent power', THD: 'total harmonic distortion',
  TDD: 'total demand distortion', Pinst: 'instantaneous flicker',
};

// A header cell; a text that is a known abbreviation is marked as one.
export function headerCell(text, scope) {
  const cell = el('th', { scope });
  const spelled = ABBREVIATIONS[text];
  cell.append(spelled ? el('abbr', { title: spelled }, text) : text);
  return cell;
}

// A table of bound fields over a block (documents.js): cell (r, c) shows
// doc[key][block.index(r, c)]; key may be a function of (r, c). fit: its
// width class (style.css), by default from its columns. Data cells carry
// their column's name (data-label) for the stacked form; the corner cell
// heads nothing, so it is a td.
export function boundTable(bindings, key, block, caption, fit = block.columns.length > 4 ? 'fit-7' : 'fit-4') {
  const table = el('table', { class: `grid ${fit}` });
  table.append(el('caption', {}, caption));
  const head = el('tr');
  head.append(el('td', { class: 'corner' }));
  for (const name of block.columns) head.append(headerCell(name, 'col'));
  table.appendChild(el('thead')).append(head);
  const body = table.appendChild(el('tbody'));
  block.rows.forEach((rowName, r) => {
    const row = body.appendChild(el('tr'));
    row.append(headerCell(rowName, 'row'));
    block.columns.forEach((columnName, c) => {
      const cellKey = typeof key === 'function' ? key(r, c) : key;
      row.append(wrap('td', bindings.field(cellKey, block.index(r, c)), { 'data-label': columnName }));
    });
  });
  return table;
}

// Wraps a node into a new element.
export function wrap(tag, child, attrs = {}) {
  const node = el(tag, attrs);
  node.append(child);
  return node;
}

// A "name: value" line in a definition list.
export function pair(list, name, valueNode) {
  list.append(el('dt', {}, name), wrap('dd', valueNode));
}
