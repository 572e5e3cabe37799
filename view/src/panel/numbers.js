// SPDX-License-Identifier: BSD-3-Clause
import { formatCount, formatPlace, formatSize, formatValue } from '../format.js';
import { h, part, table } from './dom.js';

// All numbers as tables, for people who read rather than look.
export function numbersPart(viewer) {
  const { header } = viewer;
  const size = [0, 1, 2].map((k) => header.box[k + 3] - header.box[k]);
  const body = h('div', { className: 'tables' });
  const element = part('Numbers', false, body);
  const fill = () => {
    if (!element.open || body.childElementCount > 0) return;
    body.append(
      table('Mesh', ['', 'value'], [
        ['elements', formatCount(header.all_elements)],
        ['nodes', formatCount(header.all_nodes)],
        ['from [mm]', formatPlace(header.box.slice(0, 3))],
        ['to [mm]', formatPlace(header.box.slice(3))],
        ['size [mm]', formatPlace(size)],
        ['frame', header.frame ?? 'not said'],
      ]),
      table('Sub-volumes', ['name', 'elements', 'mm³'], viewer.subvolumes.map((s) => [s.name, formatCount(s.elements), formatSize(s.volume)])),
      table('Surfaces', ['name', 'faces'], viewer.surfaces.map((s) => [s.name, formatCount(s.faces.length)])),
      table('Values', ['name', 'min', 'mean', 'max'], viewer.quantities.filter((q) => !q.isCategory).map((q) => {
        const { min, mean, max } = q.statistics;
        return [q.title, formatValue(min), formatValue(mean), formatValue(max)];
      })));
  };
  element.addEventListener('toggle', fill);
  return element;
}

export function aboutPart() {
  const texts = KETMESH_LICENCES.map(({ name, version, licence, text }) =>
    h('details', {}, h('summary', {}, `${name} ${version} (${licence})`), h('pre', {}, text)));
  return part('About', false,
    h('p', {}, `Written by ketmesh ${KETMESH_VERSION}. The page is one file: it makes no connection, and the mesh stays in it.`),
    h('p', { className: 'quiet' }, 'It is made with:'), ...texts);
}
