// SPDX-License-Identifier: BSD-3-Clause
// Numbers as people read them.

const whole = new Intl.NumberFormat('en', { maximumFractionDigits: 0 });

export const formatCount = (n) => whole.format(n);

const sized = new Intl.NumberFormat('en', { maximumSignificantDigits: 6 });

// A volume, area or length of a whole.
export const formatSize = (x) => (Number.isFinite(x) ? sized.format(x) : '–');

export function formatValue(value, digits = 5) {
  if (value === null || value === undefined) return '–';
  if (Number.isNaN(value)) return 'not a number';
  if (!Number.isFinite(value)) return value > 0 ? '∞' : '−∞';
  const size = Math.abs(value);
  if (Number.isInteger(value) && size < 1e7) return String(value).replace('-', '−');
  const text = size !== 0 && (size >= 1e7 || size < 1e-3) ? value.toExponential(digits - 2).replace(/\.?0+e/, 'e') : String(Number(value.toPrecision(digits)));
  return text.replace(/-/g, '−').replace('e+', 'e');
}

export const formatPlace = (point) => point.map((x) => formatValue(Number(x.toFixed(2)))).join(', ');

// Even values for the labels of a scale.
export function ticks(min, max, about) {
  if (!(max > min)) return [min];
  const raw = (max - min) / about;
  const power = 10 ** Math.floor(Math.log10(raw));
  const step = [1, 2, 5, 10].find((f) => f * power >= 0.8 * raw) * power;
  const values = [];
  for (let k = Math.ceil(min / step - 1e-6); k * step <= max + 1e-6 * step; ++k) values.push(Number((k * step).toPrecision(12)));
  return values;
}
