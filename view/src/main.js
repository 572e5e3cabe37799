// SPDX-License-Identifier: BSD-3-Clause
import { bindKeys, bindPointer, CameraControl, namedViews } from './camera.js';
import { categoryColor } from './colors.js';
import { formatCount } from './format.js';
import { aboutPart, numbersPart } from './panel/numbers.js';
import { colourPart, legend } from './panel/colour.js';
import { cutPart } from './panel/cut.js';
import { deformPart } from './panel/deform.js';
import { gizmo } from './panel/gizmo.js';
import { h, icon } from './panel/dom.js';
import { showPart } from './panel/show.js';
import { showPicked } from './panel/picked.js';
import { worstPart } from './panel/worst.js';
import { savePicture } from './picture.js';
import { Scene } from './scene.js';
import { bytesOfBase64, unpackModel } from './unpack.js';
import { Viewer } from './viewer.js';

const $ = (id) => document.getElementById(id);

const Themes = {
  light: { background: '#eef1f5', edge: '#1a2230', ghost: '#5a6a80', mark: '#d81b60' },
  dark: { background: '#15181d', edge: '#05070a', ghost: '#9fb0c6', mark: '#ff5c8d' },
};

// Dark or light as the system is, until the reader chooses.
function themes(scene) {
  const dark = matchMedia('(prefers-color-scheme: dark)');
  let chosen = null;
  const apply = () => {
    const name = chosen ?? (dark.matches ? 'dark' : 'light');
    document.documentElement.dataset.theme = name;
    scene.setTheme(Themes[name]);
    scene.render();
  };
  dark.addEventListener('change', apply);
  apply();
  return () => {
    chosen = document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark';
    apply();
  };
}

function heading({ header }) {
  const { elements, all_elements: all, all_nodes: nodes, frame } = header;
  const part = elements < all
    ? h('p', { className: 'note', role: 'note' },
      `The mesh is large: the page has ${formatCount(elements)} of its elements, those at surfaces and interfaces and the worst ones.`)
    : null;
  return h('header', { className: 'title' }, h('h1', {}, header.file),
    h('p', {}, `${formatCount(all)} elements · ${formatCount(nodes)} nodes${frame ? ` · ${frame}` : ''}`), part);
}

function tool(name, title, action, pressed) {
  const button = h('button', { type: 'button', title, ariaLabel: title, onclick: action }, icon(name));
  if (pressed !== undefined) button.setAttribute('aria-pressed', pressed);
  return button;
}

async function open() {
  const source = $('data');
  const model = await unpackModel(bytesOfBase64(source.textContent.trim()));
  source.remove();
  const { header } = model;
  document.title = `${header.file} – mesh`;

  const scene = new Scene($('picture'));
  const control = new CameraControl(scene, model.positions, header.box);
  const switchTheme = themes(scene);
  const viewer = new Viewer(model, scene);
  const views = namedViews(header.frame);

  const pick = (x, y) => {
    const hit = viewer.hit(control.rayThrough(x, y));
    const about = hit && viewer.describe(hit);
    viewer.setMark(hit ? hit.element : -1);
    showPicked($('picked'), viewer, about, closePicked);
    return about;
  };
  const closePicked = () => {
    viewer.setMark(-1);
    if (viewer.focus >= 0) viewer.setFocus(-1);
    showPicked($('picked'), viewer, null);
    $('picture').focus();
  };
  viewer.addEventListener('mark', () => {
    $('hint').hidden = true;
    if (viewer.focus < 0 || viewer.marked !== viewer.focus) return;
    const { center } = viewer.centerOf(viewer.focus);
    showPicked($('picked'), viewer, viewer.describe({ element: viewer.focus, point: center }), closePicked);
  });
  viewer.addEventListener('selection', () => {
    if (viewer.focus < 0 && viewer.marked < 0) showPicked($('picked'), viewer, null);
  });

  const cut = cutPart(viewer, control);
  const edges = tool('edges', 'Edges of elements (E)', () => viewer.setEdges(!viewer.edges), true);
  viewer.addEventListener('edges', () => edges.setAttribute('aria-pressed', viewer.edges));
  $('tools').append(
    edges,
    tool('all', 'Show all (F)', () => control.fit()),
    tool('save', 'Save as picture', () => savePicture(scene, viewer)),
    tool('theme', 'Dark or light', switchTheme));
  $('panel').append(heading(viewer), ...[
    colourPart(viewer), showPart(viewer), cut.element, deformPart(viewer, control.radius), worstPart(viewer, control),
    numbersPart(viewer), aboutPart(),
  ].filter(Boolean));
  legend(viewer, $('legend'), categoryColor);
  gizmo($('gizmo'), scene, control, views);
  $('hint').textContent = matchMedia('(pointer: coarse)').matches
    ? 'One finger turns, two zoom and move, a tap names an element'
    : 'Drag to turn, wheel to zoom, Shift and drag to move, click to name an element';

  bindPointer($('picture'), control, pick);
  const middle = () => {
    const { left, top, width, height } = $('picture').getBoundingClientRect();
    pick(left + width / 2, top + height / 2);
  };
  const letters = Object.entries(views).filter(([name]) => name.length === 1 || name.startsWith('+'));
  bindKeys($('picture'), control, {
    ...Object.fromEntries(letters.map(([name, view]) => [name.slice(-1), () => control.look(view)])),
    F: () => control.fit(), E: () => viewer.setEdges(!viewer.edges), C: cut.toggle, ENTER: middle, ESCAPE: closePicked,
  });

  new ResizeObserver(() => scene.resize()).observe($('picture'));
  scene.resize();
  const [right, , front, , top] = Object.values(views).map((view) => view.from);
  const oblique = front.map((x, k) => x + 0.7 * right[k] + 0.4 * top[k]);
  control.look({ from: oblique, up: [0, 0, 1] }, false);
  scene.renderNow();
  $('loading').remove();
  document.documentElement.dataset.ready = 'true';

  Object.assign(window.ketmesh, {
    state: () => viewer.state(),
    setVisible: (name, visible) => viewer.setVisible(name, visible),
    setColor: (name) => viewer.setColor(name),
    selectRange: (min, max) => viewer.selectRange(min, max),
    clip: (normal, offset) => viewer.setClip(normal, offset),
    pick,
    deform: (factor) => viewer.setDeformation(factor),
    look: (name) => control.look(views[name], false),
    savePicture: () => savePicture(scene, viewer),
  });
}

window.ketmesh.open = open;
