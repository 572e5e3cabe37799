// SPDX-License-Identifier: BSD-3-Clause
import { worstElements } from '../fields.js';
import { formatValue } from '../format.js';
import { h, part } from './dom.js';

const Listed = 20;

// The elements to look at first; a click flies there.
export function worstPart(viewer, control) {
  const title = h('p', { className: 'quiet' });
  const list = h('ol', { className: 'worst' });
  const turn = h('button', { type: 'button', onclick: () => { lowest = !lowest; draw(); } });
  let lowest = false;
  const element = part('Worst elements', false, h('div', { className: 'row' }, title, turn), list);
  const heading = element.querySelector('h2');
  function fly(e) {
    viewer.setFocus(e);
    const { center, radius } = viewer.centerOf(e);
    control.approach(center, 7 * radius);
  }
  function draw() {
    const { quantity } = viewer;
    element.hidden = quantity.isCategory;
    const metric = quantity.kind === 'metric';
    const sense = metric ? quantity.worst : lowest ? 'lowest' : 'highest';
    heading.textContent = metric ? 'Worst elements' : lowest ? 'Lowest values' : 'Highest values';
    if (quantity.isCategory || !element.open) return;
    title.textContent = metric
      ? `${quantity.name}: ${{ lowest: 'the lowest values', highest: 'the highest values', negative: 'negative values, then the highest' }[sense]}`
      : quantity.name;
    turn.hidden = metric;
    turn.textContent = lowest ? 'Highest' : 'Lowest';
    list.replaceChildren(...worstElements(quantity.elementValues, viewer.switchedOn, sense, Listed).map(({ element: e, value }) =>
      h('li', {}, h('button', { type: 'button', onclick: () => fly(e) },
        h('span', {}, `element ${viewer.numberOf(e)}`), h('span', { className: 'number' }, formatValue(value))))));
  }
  element.addEventListener('toggle', draw);
  for (const event of ['color', 'values']) viewer.addEventListener(event, draw);
  draw();
  return element;
}
