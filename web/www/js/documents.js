// The documents below ../json/, how often each is read, and where the values
// of their arrays are: blocks of named rows and columns.

export const DOC = {
  polling: 'polling_data.json', phasor: 'phasor_data.json', symm: 'symmetrical_components.json',
  flicker: 'flicker_data.json', energy: 'energy_data.json', factory: 'meter_factory_setting.json',
  thd: 'thd_data.json', labels: 'device_profile_label.json',
};

// Every document is read on every n-th tick (of one second).
export const READ_EVERY = [
  [DOC.polling, 1], [DOC.phasor, 1], [DOC.symm, 1], [DOC.flicker, 1], [DOC.energy, 1],
  [DOC.factory, 10], [DOC.thd, 3], [DOC.labels, 10],
];

// Documents without a dateTime member.
export const UNDATED = [DOC.factory, DOC.labels];

// A block of rows x columns: index(r, c) of row r, column c (numbers) in the
// array, by default row after row; at() takes names or numbers.
export function block(rows, columns, index = (r, c) => r * columns.length + c) {
  const position = (names, x) => (typeof x === 'number' ? x : names.indexOf(x));
  return {
    rows, columns, index,
    at(row, column) {
      return index(position(rows, row), position(columns, column));
    },
  };
}

const FOUR = ['now', 'thermal', 'max', 'min'];
const SIX = ['now', 'thermal', 'max', 'min', 'neg min', 'neg max'];
const POWER = ['a', 'b', 'c', 'total'];
const PHASOR = ['V', 'I', 'W', 'VA', 'V angle', 'I angle', 'V-I angle'];
const THREE = ['A', 'B', 'C'];
const EXTREMES = ['value', 'time', 'max', 'max time', 'min', 'min time'];
const count = (n) => Array.from({ length: n }, (_, k) => String(k + 1));
// Quantity after quantity, three phases each.
const byQuantity = (r, c) => c * 3 + r;
// Values with times per phase, then maxima, then minima.
const byExtreme = (r, c) => Math.floor(c / 2) * 6 + r * 2 + (c % 2);

export const LAYOUT = {
  volts: block(['an', 'bn', 'cn', 'ab', 'bc', 'ca', 'aux'], FOUR),
  currents: block(['a', 'b', 'c', 'n', 'x'], FOUR),
  watts: block(POWER, SIX),
  vars: block(POWER, SIX),
  vas: block(POWER, FOUR),
  pfs: block(['power factor'], POWER),
  phasetoneutral: block(['a', 'b', 'c'], PHASOR, byQuantity),
  phasetophase: block(['ab', 'bc', 'ca'], PHASOR, byQuantity),
  vauxblock: block(['aux voltage'], ['value', 'angle']),
  iauxblock: block(['aux current'], ['value', 'angle']),
  earthblock: block(['earth'], count(4)),
  sequence: block(['values'], ['a', 'b', 'c', 'a angle', 'b angle', 'c angle']),
  flickerWindows: block(['runtime'], ['peaks reset', 'time', 'Pst in', 'Plt in']),
  flickerFrequency: block(['frequency'], ['nominal', 'measured', 'nominal voltage'], (r, c) => 4 + c),
  flickerInst: block(THREE, ['Pinst', 'voltage']),
  flickerTerm: block(THREE, EXTREMES, byExtreme),
  registers: block(count(5), ['register', 'value']),
  qhours: block(count(2), ['register', 'value']),
  peakDemand: block(['positive', 'negative'], ['peak', 'time']),
};
