// SPDX-License-Identifier: BSD-3-Clause
// What a page can be coloured by: sub-volumes, and values of elements and nodes.

export const SubvolumeName = 'subvolume';

function lengths(columns) {
  const out = new Float32Array(columns[0].length);
  for (let i = 0; i < out.length; ++i) out[i] = Math.hypot(columns[0][i], columns[1][i], columns[2][i]);
  return out;
}

function statisticsOf(values) {
  let min = Infinity;
  let max = -Infinity;
  let sum = 0;
  let finite = 0;
  for (let i = 0; i < values.length; ++i) {
    const v = values[i];
    if (!Number.isFinite(v)) continue;
    if (v < min) min = v;
    if (v > max) max = v;
    sum += v;
    ++finite;
  }
  return finite === 0
    ? { min: null, max: null, mean: null, nonfinite: values.length }
    : { min, max, mean: sum / finite, nonfinite: values.length - finite };
}

// The mean of the nodes of each element.
function meansOfNodes({ kinds, starts, connectivity }, values) {
  const means = new Float32Array(kinds.length);
  for (let e = 0; e < kinds.length; ++e) {
    let sum = 0;
    for (let i = starts[e]; i < starts[e + 1]; ++i) sum += values[connectivity[i]];
    means[e] = sum / kinds[e];
  }
  return means;
}

// One value for each element or node, with what is known of it.
class Quantity {
  constructor(model, about) {
    Object.assign(this, about); // name, unit, place, kind, worst, values
    this.model = model;
  }
  get isCategory() {
    return this.kind === 'category';
  }
  get onNodes() {
    return this.place === 'nodes';
  }
  get title() {
    return this.unit ? `${this.name} [${this.unit}]` : this.name;
  }
  get statistics() {
    return (this._statistics ??= statisticsOf(this.values));
  }
  // One value for each element: by these, elements are selected and sorted.
  get elementValues() {
    return (this._elementValues ??= this.onNodes ? meansOfNodes(this.model, this.values) : this.values);
  }
}

export function quantitiesOf(model) {
  const quantities = [
    new Quantity(model, { name: SubvolumeName, unit: '', place: 'elements', kind: 'category', values: model.subvolumes }),
  ];
  for (const field of model.fields) {
    const { name, unit, place, kind, worst, components, columns } = field;
    const add = (of, values) => quantities.push(new Quantity(model, { name: of, unit, place, kind, worst, values }));
    if (components.length === 0) add(name, columns[0]);
    if (components.length === 3) add(name, lengths(columns));
    components.forEach((component, i) => add(`${name} ${component}`, columns[i]));
  }
  return quantities;
}

// How many of the elements have values in each of the bins between min and max; the last one holds max, too.
export function histogramOf(values, visible, min, max, bins) {
  const counts = new Array(bins).fill(0);
  const scale = max > min ? bins / (max - min) : 0;
  for (let e = 0; e < values.length; ++e) {
    const v = values[e];
    if (!visible[e] || !(v >= min && v <= max)) continue;
    ++counts[Math.min(bins - 1, Math.floor((v - min) * scale))];
  }
  return counts;
}

// The elements to look at first: `sense` is "lowest", "highest" or "negative", which is negative values and then the
// highest. What is not a number comes before all.
export function worstElements(values, visible, sense, count) {
  const rank = (v) => {
    if (Number.isNaN(v)) return -Infinity;
    if (sense === 'lowest') return v;
    return sense === 'negative' && v < 0 ? v - 1e300 : -v;
  };
  const worst = []; // ascending ranks
  for (let e = 0; e < values.length; ++e) {
    if (!visible[e]) continue;
    const r = rank(values[e]);
    if (worst.length === count && r >= worst[count - 1].rank) continue;
    let at = worst.length;
    while (at > 0 && worst[at - 1].rank > r) --at;
    worst.splice(at, 0, { element: e, value: values[e], rank: r });
    if (worst.length > count) worst.pop();
  }
  return worst;
}

// A range that leaves out `share` of the values at either end, so that a few of them do not hide the others.
export function middleRange(values, share) {
  const sorted = Float64Array.from(values).filter(Number.isFinite).sort();
  if (sorted.length === 0) return [0, 1];
  const at = (s) => sorted[Math.min(sorted.length - 1, Math.floor(s * sorted.length))];
  return [at(share), at(1 - share)];
}
