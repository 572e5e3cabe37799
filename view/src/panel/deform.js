// SPDX-License-Identifier: BSD-3-Clause
import { formatValue } from '../format.js';
import { h, option, part, row } from './dom.js';

// Results as a shape: nodes moved by a vector times a factor. Null without vectors.
export function deformPart(viewer, radius) {
  if (viewer.vectors.length === 0) return null;
  const lengthOf = (vector) => viewer.quantityNamed(vector.name).statistics.max || 1;
  // The factor at the right end moves nothing further than a quarter of the mesh's size.
  const largest = () => {
    const raw = (0.5 * radius) / lengthOf(viewer.deformation.vector);
    return Number(Math.max(1, raw).toPrecision(1));
  };
  const slider = h('input', { type: 'range', min: 0, max: 1000, value: 0, ariaLabel: 'deformation', oninput: () => set((largest() * slider.value) / 1000) });
  const factor = h('input', { type: 'number', step: 'any', ariaLabel: 'factor of the deformation', onchange: () => set(factor.valueAsNumber || 0) });
  let waiting = null;
  function set(value) {
    if (waiting === null) requestAnimationFrame(() => { viewer.setDeformation(waiting); waiting = null; });
    waiting = value;
  }
  const names = h('select', { onchange: () => viewer.setDeformation(0, viewer.vectors[names.selectedIndex]) }, viewer.vectors.map((v) =>
    option(v.name, v.name, v === viewer.deformation.vector)));
  const note = h('p', { className: 'quiet' });
  function update() {
    const { factor: f, vector } = viewer.deformation;
    slider.value = (1000 * f) / largest();
    factor.value = String(Number(f.toPrecision(4)));
    note.textContent = f === 0 ? 'The mesh as it is.' : `Nodes move ${formatValue(f)} times as far as ${vector.name} says.`;
  }
  viewer.addEventListener('deformation', update);
  update();
  return part('Deform', true, viewer.vectors.length > 1 ? row('By', names) : null, row('Times', slider, factor), note);
}
