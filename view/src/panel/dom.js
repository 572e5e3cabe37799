// SPDX-License-Identifier: BSD-3-Clause
// Elements of the page. Text is text, wherever it comes from: nothing here reads markup.

export function h(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'style') for (const [key, v] of Object.entries(value)) element.style.setProperty(key, v);
    else if (name.startsWith('aria')) element.setAttribute(`aria-${name.slice(4).toLowerCase()}`, value);
    else if (name in element && name !== 'list') element[name] = value;
    else element.setAttribute(name, value);
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

const Lines = 'http://www.w3.org/2000/svg';
const Icons = {
  edges: 'M8 2 14 12.5H2z M8 2v10.5 M8 8.5 2 12.5 M8 8.5l6 4',
  all: 'M2 5.5V2h3.5 M10.5 2H14v3.5 M14 10.5V14h-3.5 M5.5 14H2v-3.5 M5.5 5.5h5v5h-5z',
  save: 'M8 2v8 M4.5 7 8 10.5 11.5 7 M2.5 13.5h11',
  theme: 'M8 2a6 6 0 1 0 0 12z M8 2a6 6 0 0 1 0 12',
  flip: 'M5 13V3 M2.5 5.5 5 3l2.5 2.5 M11 3v10 M8.5 10.5 11 13l2.5-2.5',
  close: 'M4 4l8 8 M12 4l-8 8',
};
export function icon(name) {
  const svg = document.createElementNS(Lines, 'svg');
  svg.setAttribute('viewBox', '0 0 16 16');
  svg.setAttribute('aria-hidden', 'true');
  const path = document.createElementNS(Lines, 'path');
  path.setAttribute('d', Icons[name]);
  svg.append(path);
  return svg;
}

// A part of the panel that opens and closes.
export function part(title, open, ...children) {
  return h('details', { open, className: 'part' }, h('summary', {}, h('h2', {}, title)), h('div', { className: 'body' }, ...children));
}

// A row with a label on the left and a control on the right.
export const row = (label, ...controls) => h('label', { className: 'row' }, h('span', {}, label), ...controls);

export const option = (value, text = value, selected = false) => h('option', { value, textContent: text, selected });

export function table(caption, head, rows) {
  const cell = (tag, text, i) => h(tag, { className: i > 0 ? 'number' : '', ...(tag === 'th' ? { scope: i === undefined ? 'row' : 'col' } : {}) }, text);
  return h('table', {},
    h('caption', {}, caption),
    h('thead', {}, h('tr', {}, head.map((text, i) => cell('th', text, i)))),
    h('tbody', {}, rows.map((r) => h('tr', {}, r.map((text, i) => (i === 0 ? h('th', { scope: 'row' }, text) : cell('td', text, i)))))));
}
