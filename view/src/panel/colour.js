// SPDX-License-Identifier: BSD-3-Clause
import { gradient, Scales } from '../colors.js';
import { histogramOf, middleRange } from '../fields.js';
import { formatCount, formatValue, ticks } from '../format.js';
import { h, option, part, row } from './dom.js';

const Bins = 32;
const Groups = { category: 'Sub-volumes', metric: 'Quality', material: 'Material', array: 'Values in the file' };

// What the mesh is coloured by, its scale, and the histogram that selects elements.
export function colourPart(viewer) {
  const name = h('select', { id: 'color', onchange: () => viewer.setColor(name.value) });
  for (const [kind, title] of Object.entries(Groups)) {
    const members = viewer.quantities.filter((q) => q.kind === kind);
    if (members.length > 0)
      name.append(h('optgroup', { label: title }, members.map((q) => option(q.name, q.kind === 'category' ? 'Sub-volume' : q.title))));
  }
  const scale = h('select', { onchange: () => viewer.setScale(scale.value) }, Object.keys(Scales).map((s) => option(s)));
  const bound = (label) => h('input', { type: 'number', step: 'any', ariaLabel: label, onchange: applyRange });
  const low = bound('lowest value of the scale');
  const high = bound('highest value of the scale');
  function applyRange() {
    const [min, max] = [low.valueAsNumber, high.valueAsNumber];
    if (Number.isFinite(min) && Number.isFinite(max) && max >= min) viewer.setRange(min, max);
    else update();
  }
  const whole = h('button', { type: 'button', onclick: () => viewer.setRange(viewer.quantity.statistics.min, viewer.quantity.statistics.max) }, 'All');
  const middle = h('button', {
    type: 'button', title: 'Leaves out 2 % of the values at either end', onclick: () => viewer.setRange(...middleRange(viewer.quantity.values, 0.02)),
  }, 'Middle 96 %');
  const numbers = h('div', { className: 'numeric' },
    row('Scale', scale),
    h('div', { className: 'row' }, h('span', {}, 'From, to'), low, high),
    h('div', { className: 'row' }, h('span', {}), h('div', { className: 'segments' }, whole, middle)),
    histogram(viewer));
  function update() {
    name.value = viewer.quantity.name;
    numbers.hidden = viewer.quantity.isCategory;
    scale.value = viewer.scale;
    if (viewer.range) [low.value, high.value] = viewer.range.map((x) => String(Number(x.toPrecision(6))));
  }
  viewer.addEventListener('color', update);
  update();
  return part('Colour', true, row('By', name), numbers);
}

// Bars that select the elements with such values: by a click, or several by dragging or with Shift.
function histogram(viewer) {
  const bars = h('div', { className: 'bars', role: 'group', ariaLabel: 'Elements by value; a bar selects' });
  const axis = h('div', { className: 'axis', ariaHidden: 'true' });
  const summary = h('p', { className: 'summary', role: 'status' });
  const clear = h('button', { type: 'button', onclick: () => viewer.selectRange() }, 'Show all again');
  const note = h('p', { className: 'quiet' });
  let counts = [];
  let anchor = 0;
  const edge = (i) => {
    const { min, max } = viewer.quantity.statistics;
    return i === Bins ? max : min + ((max - min) * i) / Bins;
  };
  const select = (a, b) => viewer.selectRange(edge(Math.min(a, b)), edge(Math.max(a, b) + 1));
  const indexAt = (event) => {
    const { left, width } = bars.getBoundingClientRect();
    return Math.min(Bins - 1, Math.max(0, Math.floor(((event.clientX - left) / width) * Bins)));
  };
  let dragging = false;
  bars.addEventListener('pointerdown', (event) => {
    dragging = true;
    bars.setPointerCapture(event.pointerId);
    if (!event.shiftKey) anchor = indexAt(event);
    select(anchor, indexAt(event));
  });
  bars.addEventListener('pointermove', (event) => dragging && select(anchor, indexAt(event)));
  for (const end of ['pointerup', 'pointercancel']) bars.addEventListener(end, () => (dragging = false));
  bars.addEventListener('keydown', (event) => {
    const at = [...bars.children].indexOf(event.target);
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (step) {
      const next = Math.min(Bins - 1, Math.max(0, at + step));
      bars.children[next].focus();
      if (event.shiftKey) select(anchor, next);
    } else if (event.key === 'Enter' || event.key === ' ') select((anchor = at), at);
    else return;
    event.preventDefault();
  });

  function draw() {
    if (viewer.quantity.isCategory) return;
    const { elementValues, statistics: { min, max, mean, nonfinite }, onNodes } = viewer.quantity;
    counts = histogramOf(elementValues, viewer.switchedOn, min ?? 0, max ?? 0, Bins);
    const most = Math.max(1, ...counts);
    bars.replaceChildren(...counts.map((count, i) => h('button', {
      type: 'button', tabIndex: i === 0 ? 0 : -1,
      ariaLabel: `${formatValue(edge(i))} to ${formatValue(edge(i + 1))}: ${formatCount(count)} elements`,
      title: `${formatValue(edge(i))} to ${formatValue(edge(i + 1))}: ${formatCount(count)} elements`,
    }, h('i', { style: { height: `${count === 0 ? 0 : Math.max(2, (100 * count) / most)}%` } }))));
    axis.replaceChildren(...(min === null ? [] : ticks(min, max, 4).map((v) =>
      h('span', { style: { left: `${max > min ? (100 * (v - min)) / (max - min) : 50}%` } }, formatValue(v)))));
    note.textContent = [`mean ${formatValue(mean)}`, nonfinite > 0 ? `${formatCount(nonfinite)} not finite` : '',
      onNodes ? 'elements by the mean of their nodes' : ''].filter(Boolean).join(' · ');
    mark();
  }
  function mark() {
    const { selection } = viewer;
    const inside = (i) => selection && edge(i + 1) > selection.min && edge(i) < selection.max;
    const single = viewer.quantity.statistics.min === viewer.quantity.statistics.max;
    [...bars.children].forEach((bar, i) => {
      const on = Boolean(inside(i) || (single && selection));
      bar.setAttribute('aria-pressed', on);
      bar.classList.toggle('off', selection !== null && !on);
    });
    clear.hidden = !selection;
    summary.textContent = selection
      ? `${formatCount(viewer.selected)} elements from ${formatValue(selection.min)} to ${formatValue(selection.max)}`
      : 'Click or drag over bars to see these elements alone.';
  }
  for (const event of ['values', 'color']) viewer.addEventListener(event, draw);
  viewer.addEventListener('selection', mark);
  draw();
  return h('div', { className: 'histogram' }, bars, axis, note, h('div', { className: 'row' }, summary, clear));
}

// The scale beside the picture, or the colours of the sub-volumes.
export function legend(viewer, place, colorOfSubvolume) {
  function draw() {
    const { quantity, range } = viewer;
    if (quantity.isCategory) {
      const shown = viewer.subvolumes.map((s, i) => ({ ...s, i })).filter((s) => s.visible);
      place.className = 'categories';
      place.replaceChildren(...shown.slice(0, 12).map(({ name, i }) =>
        h('div', {}, h('i', { style: { background: colorOfSubvolume(i) } }), name)),
      ...(shown.length > 12 ? [h('div', {}, `and ${shown.length - 12} more`)] : []));
      return;
    }
    const [min, max] = range;
    place.className = 'scale';
    const marks = ticks(min, max, 5);
    const longest = marks.map((v) => formatValue(v)).reduce((a, b) => (b.length > a.length ? b : a), '');
    place.replaceChildren(
      h('strong', {}, quantity.title),
      h('div', { className: 'strip' },
        h('i', { style: { background: gradient(viewer.scale, 'to top') } }),
        h('div', { className: 'marks' }, marks.map((v) =>
          h('span', { style: { bottom: `${max > min ? (100 * (v - min)) / (max - min) : 50}%` } }, formatValue(v))),
        h('b', { ariaHidden: 'true' }, longest))),
      ...(quantity.statistics.nonfinite > 0 ? [h('div', { className: 'none' }, h('i'), 'no value')] : []));
  }
  for (const event of ['color', 'show']) viewer.addEventListener(event, draw);
  draw();
}
