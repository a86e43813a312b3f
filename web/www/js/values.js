// Numbers out of published texts ("121.168 V", "0.306 M", "359.97 Deg",
// "n/a"). The page shows the texts as published and parses them only to draw.

// The leading number of a text, or NaN ("n/a", empty, null).
export function numberOf(text) {
  if (typeof text !== 'string') return NaN;
  const value = Number.parseFloat(text);
  return Number.isFinite(value) ? value : NaN;
}

// Degrees to radians.
export function radians(degrees) {
  return (degrees * Math.PI) / 180;
}

// Ratio of two magnitudes in percent with two decimals, or "n/a".
export function percentText(part, whole) {
  if (!Number.isFinite(part) || !Number.isFinite(whole) || whole === 0) return 'n/a';
  return `${((part / whole) * 100).toFixed(2)} %`;
}
