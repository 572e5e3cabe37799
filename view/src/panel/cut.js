// SPDX-License-Identifier: BSD-3-Clause
import { formatValue } from '../format.js';
import { h, icon, part, row } from './dom.js';

// A plane that cuts the mesh open.
export function cutPart(viewer, control) {
  const { box, frame } = viewer.header;
  const names = frame ? ['R – L', 'A – P', 'S – I'] : ['X', 'Y', 'Z'];
  const corners = [0, 1, 2, 3, 4, 5, 6, 7].map((i) => [0, 1, 2].map((k) => box[k + 3 * ((i >> k) & 1)]));
  let normal = [0, 0, 1]; // of the cut, also while it is off
  const reach = () => {
    const heights = corners.map((c) => c.reduce((sum, x, k) => sum + x * normal[k], 0));
    return [Math.min(...heights), Math.max(...heights)];
  };
  const on = h('input', { type: 'checkbox', role: 'switch', id: 'cut', onchange: () => (on.checked ? across(0) : viewer.setClip(null)) });
  const slider = h('input', { type: 'range', min: 0, max: 1000, value: 500, ariaLabel: 'where the plane cuts', oninput: apply });
  const place = h('output', { className: 'value' });
  const button = (label, title, action) => h('button', { type: 'button', title, onclick: action }, label);
  const buttons = names.map((label, k) => button(label, `cut across ${label}`, () => across(k)));
  buttons.push(button('View', 'cut across the line of sight', () => start([...control.direction])));
  const flip = button(icon('flip'), 'Show the other side', () => {
    if (viewer.clip) viewer.setClip(viewer.clip.normal.map((x) => -x), -viewer.clip.offset);
  });
  // What faces the usual view is taken away.
  function across(k) {
    const away = frame === 'LPS' ? [1, 1, -1] : [-1, -1, -1];
    start([0, 1, 2].map((i) => (i === k ? away[k] : 0)));
  }
  function start(direction) {
    normal = direction;
    slider.value = 500;
    apply();
  }
  function apply() {
    const [low, high] = reach();
    viewer.setClip(normal, low + ((high - low) * slider.value) / 1000);
  }
  const settings = h('div', {},
    h('div', { className: 'row' }, h('span', {}, 'Across'), h('div', { className: 'segments' }, buttons)),
    h('div', { className: 'row' }, h('span', {}, 'At'), slider, place, flip));
  function update() {
    const { clip } = viewer;
    on.checked = clip !== null;
    settings.classList.toggle('inactive', !clip);
    place.textContent = '';
    if (!clip) return;
    normal = clip.normal;
    const [low, high] = reach();
    slider.value = (1000 * (clip.offset - low)) / (high - low);
    const size = Math.hypot(...normal);
    const axis = normal.findIndex((x) => Math.abs(x) > 0.999 * size);
    const at = clip.offset / (axis < 0 ? size : normal[axis]);
    place.textContent = `${axis < 0 ? '' : `${'xyz'[axis]} = `}${formatValue(Number(at.toPrecision(4)))} mm`;
  }
  viewer.addEventListener('clip', update);
  update();
  return { element: part('Cut', true, row('Cut the mesh open', on), settings), toggle: () => on.click() };
}
