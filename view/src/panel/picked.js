// SPDX-License-Identifier: BSD-3-Clause
import { formatPlace, formatValue } from '../format.js';
import { h, icon, table } from './dom.js';

// What was clicked: element, values, place. Null closes the card.
export function showPicked(place, viewer, about, close) {
  place.hidden = !about;
  if (!about) return;
  const { quantity } = viewer;
  const rows = viewer.quantities.filter((q) => !q.isCategory).map((q) => [q, about.values[q.name]]);
  rows.sort(([a], [b]) => (b === quantity) - (a === quantity));
  const nodal = rows.some(([q]) => q.onNodes);
  place.replaceChildren(
    h('header', {}, h('h2', {}, `Element ${about.element}`), h('button', { type: 'button', ariaLabel: 'Close', onclick: close }, icon('close'))),
    h('p', {}, about.subvolume, h('br'), `at ${formatPlace(about.position)} mm`, h('br'), `nearest node ${about.node}`),
    table('Values', ['name', 'value'], rows.map(([q, v]) => [q.title + (q.onNodes ? ' •' : ''), formatValue(v)])),
    nodal ? h('p', { className: 'quiet' }, '• at the nearest node') : '');
}
