import { formatValue } from '../format.js';
import { h, icon, part, row } from './dom.js';

// A plane that cuts the mesh open.
export function cutPart(viewer, control) {
  const { box, frame } = viewer.header;
  const names = frame ? ['R – L', 'A – P', 'S – I'] : ['X', 'Y', 'Z'];
  const corners = [0, 1, 2, 3, 4, 5, 6, 7].map((i) => [0, 1, 2].map((k) => box[k + 3 * ((i >> k) & 1)]));
  let normal = null; // of the cut, while it is on
  let flipped = false;
  const reach = () => {
    const heights = corners.map((c) => c.reduce((sum, x, k) => sum + x * normal[k], 0));
    return [Math.min(...heights), Math.max(...heights)];
  };
  const on = h('input', { type: 'checkbox', role: 'switch', id: 'cut', onchange: () => (on.checked ? open(0) : viewer.setClip(null)) });
  const slider = h('input', { type: 'range', min: 0, max: 1000, value: 500, ariaLabel: 'where the plane cuts', oninput: apply });
  const place = h('output', { className: 'value' });
  const direction = (label, title, pick) => h('button', { type: 'button', title, onclick: pick }, label);
  const buttons = names.map((label, k) => direction(label, `cut across ${label}`, () => open(k)));
  buttons.push(direction('View', 'cut across the line of sight', () => {
    normal = control.direction.map((x) => x);
    start();
  }));
  const flip = h('button', { type: 'button', title: 'Show the other side', ariaLabel: 'Show the other side', onclick: () => { flipped = !flipped; apply(); } }, icon('flip'));
  function open(k) {
    // What faces the usual view is taken away.
    const away = { RAS: [-1, -1, -1], LPS: [1, 1, -1] }[frame] ?? [-1, -1, -1];
    normal = [0, 0, 0];
    normal[k] = away[k];
    start();
  }
  function start() {
    flipped = false;
    slider.value = 500;
    apply();
  }
  function apply() {
    if (!normal) return open(0);
    const [low, high] = reach();
    const offset = low + ((high - low) * slider.value) / 1000;
    if (flipped) viewer.setClip(normal.map((x) => -x), -offset);
    else viewer.setClip(normal, offset);
  }
  const settings = h('div', {},
    h('div', { className: 'row' }, h('span', {}, 'Across'), h('div', { className: 'segments' }, buttons, flip)),
    row('At', slider, place));
  function update() {
    const { clip } = viewer;
    on.checked = clip !== null;
    settings.classList.toggle('inactive', !clip);
    if (clip) {
      const axis = clip.normal.findIndex((x) => Math.abs(x) > 0.999 * Math.hypot(...clip.normal));
      const at = clip.offset / (axis < 0 ? Math.hypot(...clip.normal) : clip.normal[axis]);
      place.textContent = `${axis < 0 ? '' : `${'xyz'[axis]} = `}${formatValue(Number(at.toPrecision(4)))} mm`;
    } else place.textContent = '';
  }
  viewer.addEventListener('clip', update);
  update();
  return { element: part('Cut', true, row('Cut the mesh open', on), settings), toggle: () => on.click() };
}
