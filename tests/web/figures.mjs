// Figures of the live page's own measurements (instrument.js): medians of the
// recorded times. Pure functions, run in node.

// The median of a list of numbers (NaN for an empty one).
export function median(values) {
  const sorted = values.filter(Number.isFinite).sort((a, b) => a - b);
  const n = sorted.length;
  if (n === 0) return NaN;
  return n % 2 ? sorted[(n - 1) / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
}

// The median of the times of the ticks numbered from `since` on, from
// [tick, ms] entries.
export function medianSince(entries, since) {
  return median(entries.filter(([tick]) => tick >= since).map(([, ms]) => ms));
}

// How many of the entries are of ticks numbered from `since` on.
export function countSince(entries, since) {
  return entries.filter(([tick]) => tick >= since).length;
}
