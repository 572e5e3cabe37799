// SPDX-License-Identifier: BSD-3-Clause
import { categoryColor } from '../colors.js';
import { formatCount } from '../format.js';
import { h, part } from './dom.js';

// Sub-volumes and surfaces on and off.
export function showPart(viewer) {
  const boxes = [];
  const item = (entry, color, count, set) => {
    const box = h('input', { type: 'checkbox', checked: entry.visible, onchange: () => set(box.checked) });
    boxes.push([box, entry]);
    return h('label', { className: 'item' }, box, h('i', { style: { background: color } }), h('span', {}, entry.name || 'no name'),
      h('small', {}, formatCount(count)));
  };
  const volumes = viewer.subvolumes.map((s, i) => item(s, categoryColor(i), s.elements, (on) => {
    s.visible = on;
    viewer.updateVisible();
    viewer.changed('show', 'values');
  }));
  const surfaces = viewer.surfaces.map((s) => item(s, categoryColor(s.inside), s.faces.length, (on) => {
    s.visible = on;
    viewer.updateSurfaces();
    viewer.changed('show');
  }));
  viewer.addEventListener('show', () => boxes.forEach(([box, entry]) => (box.checked = entry.visible)));
  const all = (on) => h('button', {
    type: 'button',
    onclick: () => {
      for (const s of viewer.subvolumes) s.visible = on;
      viewer.updateVisible();
      viewer.changed('show', 'values');
    },
  }, on ? 'All' : 'None');
  return part('Show', true,
    h('div', { className: 'heading' }, h('h3', {}, 'Sub-volumes'), h('small', {}, 'elements'), all(true), all(false)),
    h('div', { className: 'list' }, volumes),
    h('div', { className: 'heading' }, h('h3', {}, 'Surfaces'), h('small', {}, 'faces')),
    h('div', { className: 'list' }, surfaces),
    h('p', { className: 'quiet' }, 'A surface shows by itself once the sub-volumes around it are off or cut.'));
}
