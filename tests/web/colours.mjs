// Colour contrast as WCAG 2 defines it. Pure functions, run in node.

// [r, g, b] (0..255) of a CSS colour as getComputedStyle gives it:
// "rgb(r, g, b)" or "rgba(r, g, b, a)"; throws on anything else.
export function parseColor(text) {
  const match = /^rgba?\((\d+(?:\.\d+)?), (\d+(?:\.\d+)?), (\d+(?:\.\d+)?)(?:, [\d.]+)?\)$/.exec(text);
  if (!match) throw new Error(`not an rgb() colour: ${text}`);
  return match.slice(1, 4).map(Number);
}

// Relative luminance of an sRGB colour.
export function luminance([r, g, b]) {
  const linear = (c) => {
    const s = c / 255;
    return s <= 0.04045 ? s / 12.92 : ((s + 0.055) / 1.055) ** 2.4;
  };
  return 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
}

// Contrast ratio of two colours (1 to 21).
export function contrast(a, b) {
  const [high, low] = [luminance(a), luminance(b)].sort((x, y) => y - x);
  return (high + 0.05) / (low + 0.05);
}
