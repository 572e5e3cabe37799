// SPDX-License-Identifier: BSD-3-Clause
import { categoryColor, colorTable, NoValue, rgbOf } from './colors.js';
import { quantitiesOf, SubvolumeName } from './fields.js';
import { castRay, cornerPoints, cornerValues, countKept, facePieces, nodeSides, sectionPieces } from './geometry.js';
import { findNeighbours, findShell, findSurfaces } from './topology.js';

// What is shown of a mesh: it keeps the choices, computes what they mean, and hands geometry and colours to the scene.
// Observers are told of every change by what has changed.
export class Viewer extends EventTarget {
  constructor(model, scene) {
    super();
    this.model = model;
    this.scene = scene;
    this.header = model.header;
    this.topology = findNeighbours(model);
    this.quantities = quantitiesOf(model);
    this.subvolumes = model.header.subvolumes.map((s) => ({ ...s, visible: true }));
    this.nameLoose();
    this.surfaces = findSurfaces(this.topology, model.subvolumes, (i) => this.subvolumes[i]?.name ?? '').map((s) => ({
      ...s, faces: Uint32Array.from(s.faces), visible: false,
    }));
    this.vectors = model.fields.filter((f) => f.place === 'nodes' && f.components.length === 3);
    this.deformation = { vector: this.vectors.find((v) => v.name === 'displacement') ?? this.vectors[0], factor: 0 };
    this.points = model.positions;
    this.visible = new Uint8Array(model.kinds.length); // switched on, and selected where there is a selection
    this.switchedOn = new Uint8Array(model.kinds.length).fill(1);
    this.selection = null; // {min, max}
    this.selected = 0;
    this.focus = -1; // an element that is looked at alone
    this.marked = -1; // the one that was clicked
    this.clip = null;
    this.edges = true;
    this.scale = 'viridis';
    this.drawn = {};
    this.pickQuantity(this.header.color);
    this.updateVisible();
  }

  // Elements may lie in no sub-volume.
  nameLoose() {
    const known = this.subvolumes.length;
    const { subvolumes } = this.model;
    for (let e = 0; e < subvolumes.length; ++e) if (subvolumes[e] < 0 || subvolumes[e] >= known) subvolumes[e] = known;
    const loose = subvolumes.reduce((count, s) => count + (s === known), 0);
    if (loose > 0) this.subvolumes.push({ name: 'in no sub-volume', elements: loose, volume: NaN, visible: true });
  }

  changed(...what) {
    for (const one of what) this.dispatchEvent(new Event(one));
    this.scene.render();
  }

  // --- Choices -------------------------------------------------------------------------------------------------

  setVisible(name, visible) {
    const matches = this.subvolumes.filter((s) => s.name === name);
    const items = matches.length > 0 ? matches : this.surfaces.filter((s) => s.name === name);
    if (items.length === 0) throw new Error(`there is no sub-volume or surface "${name}"`);
    for (const item of items) item.visible = Boolean(visible);
    if (matches.length > 0) this.updateVisible();
    else this.updateSurfaces();
    this.changed('show', 'values');
  }

  quantityNamed(name) {
    const found = this.quantities.find((q) => q.name === name);
    if (!found) throw new Error(`there is nothing called "${name}" to colour by`);
    return found;
  }
  pickQuantity(name) {
    this.quantity = this.quantityNamed(name);
    const { min, max } = this.quantity.statistics;
    this.range = this.quantity.isCategory ? null : [min ?? 0, max ?? 1];
  }
  setColor(name) {
    if (name === this.quantity.name) return;
    this.pickQuantity(name);
    this.selection = null;
    this.updateVisible();
    this.changed('color', 'show', 'values');
  }
  setRange(min, max) {
    this.range = [min, max];
    this.paint();
    this.changed('color');
  }
  setScale(scale) {
    this.scale = scale;
    this.paint();
    this.changed('color');
  }

  // Elements whose values lie within, both ends included; without numbers all are shown again.
  selectRange(min, max) {
    const none = min === undefined || min === null;
    this.selection = none ? null : { min: Number(min), max: max === undefined ? Infinity : Number(max) };
    this.focus = -1;
    this.updateVisible();
    this.changed('selection');
  }

  setClip(normal, offset) {
    const valid = normal && Math.hypot(...normal) > 0;
    this.clip = valid ? { normal: [...normal].map(Number), offset: Number(offset) || 0 } : null;
    this.scene.setClip(this.clip);
    this.updateSection();
    this.changed('clip');
  }

  setEdges(edges) {
    this.edges = edges;
    this.scene.setEdges(edges);
    this.changed('edges');
  }

  setDeformation(factor, vector = this.deformation.vector) {
    this.deformation = { vector, factor };
    const { positions } = this.model;
    if (!vector || factor === 0) this.points = positions;
    else {
      this.points = new Float32Array(positions.length);
      for (let i = 0; i < positions.length; ++i) {
        const moved = positions[i] + factor * vector.columns[i % 3][(i - (i % 3)) / 3];
        this.points[i] = Number.isFinite(moved) ? moved : positions[i];
      }
    }
    this.place();
    this.changed('deformation');
  }

  setFocus(element) {
    this.focus = element;
    this.marked = element;
    this.updateVisible();
    this.changed('selection', 'mark');
  }
  setMark(element) {
    this.marked = element;
    this.updateMark();
    this.changed('mark');
  }

  // --- What is drawn -------------------------------------------------------------------------------------------

  updateVisible() {
    const { subvolumes } = this.model;
    const values = this.selection && this.quantity.elementValues;
    this.selected = 0;
    for (let e = 0; e < subvolumes.length; ++e) {
      const on = this.subvolumes[subvolumes[e]].visible ? 1 : 0;
      this.switchedOn[e] = on;
      const within = values && on && values[e] >= this.selection.min && values[e] <= this.selection.max;
      this.selected += within ? 1 : 0;
      this.visible[e] = values ? (within ? 1 : 0) : on;
    }
    const ghosted = this.selection !== null || (this.focus >= 0 && this.isInside(this.focus));
    if (this.focus >= 0 && ghosted) {
      this.visible.fill(0);
      this.visible[this.focus] = 1;
    }
    this.setBody('solid', facePieces(this.model, this.topology, findShell(this.topology, this.visible)));
    this.setBody('ghost', ghosted
      ? facePieces(this.model, this.topology, findShell(this.topology, this.switchedOn))
      : facePieces(this.model, this.topology, []));
    this.updateSurfaces();
    this.updateSection();
    this.updateMark();
  }

  isInside(element) {
    const { faceStarts, neighbours } = this.topology;
    for (let f = faceStarts[element]; f < faceStarts[element + 1]; ++f)
      if (neighbours[f] < 0 || !this.switchedOn[neighbours[f]]) return false;
    return true;
  }

  updateSurfaces() {
    const faces = this.surfaces.filter((s) => s.visible).flatMap((s) => [...s.faces]);
    this.setBody('surfaces', facePieces(this.model, this.topology, faces, false));
  }

  updateSection() {
    if (!this.clip) this.heights = null;
    else this.heights = nodeSides(this.points, this.clip);
    this.setBody('section', this.clip
      ? sectionPieces(this.model, this.visible, this.heights)
      : facePieces(this.model, this.topology, []));
  }

  updateMark() {
    const faces = [];
    const { faceStarts } = this.topology;
    if (this.marked >= 0) for (let f = faceStarts[this.marked]; f < faceStarts[this.marked + 1]; ++f) faces.push(f);
    const pieces = facePieces(this.model, this.topology, faces);
    this.drawn.mark = pieces;
    this.scene.mark.edges.setPoints(cornerPoints(this.points, pieces.lines), 2);
  }

  setBody(name, pieces) {
    this.drawn[name] = pieces;
    this.placeBody(name);
    this.paintBody(name);
  }
  placeBody(name) {
    const pieces = this.drawn[name];
    pieces.points = cornerPoints(this.points, pieces.triangles);
    const lines = name === 'ghost' ? new Float32Array(0) : cornerPoints(this.points, pieces.lines);
    this.scene[name].setGeometry(pieces.points, lines);
  }
  place() {
    for (const name of ['solid', 'ghost', 'surfaces']) {
      this.placeBody(name);
      this.paintBody(name);
    }
    this.updateSection();
    this.updateMark();
  }

  paint() {
    for (const name of ['solid', 'surfaces', 'section']) this.paintBody(name);
  }
  paintBody(name) {
    const pieces = this.drawn[name];
    if (name === 'ghost' || pieces.elements.length === 0) return;
    const { quantity } = this;
    if (quantity.onNodes && quantity.statistics.nonfinite === 0 && this.range[1] > this.range[0])
      this.scene[name].setValues(cornerValues(quantity.values, pieces.triangles),
        this.scene.makeTable(this.scale, ...this.range), ...this.range);
    else this.scene[name].setColors(this.colorsOf(pieces));
  }
  colorsOf({ elements, triangles }) {
    const rgb = new Uint8Array(9 * elements.length);
    const colorOf = this.colorFunction();
    const corners = this.quantity.onNodes ? cornerValues(this.quantity.values, triangles) : null;
    for (let i = 0; i < 3 * elements.length; ++i)
      rgb.set(colorOf(corners ? corners[i] : this.quantity.values[elements[Math.floor(i / 3)]]), 3 * i);
    return rgb;
  }
  // The colour of a value, as three bytes.
  colorFunction() {
    if (this.quantity.isCategory) {
      const colors = this.subvolumes.map((_, i) => rgbOf(categoryColor(i)));
      return (value) => colors[value];
    }
    const [min, max] = this.range;
    const table = colorTable(this.scale);
    const none = rgbOf(NoValue);
    return (value) => {
      if (!Number.isFinite(value)) return none;
      const place = max > min ? (value - min) / (max - min) : 0.5;
      const at = 3 * Math.round(255 * Math.min(1, Math.max(0, place)));
      return table.subarray(at, at + 3);
    };
  }

  // --- What it shows -------------------------------------------------------------------------------------------

  countVisible() {
    let count = 0;
    for (let e = 0; e < this.visible.length; ++e)
      count += this.visible[e] && (!this.heights || countKept(this.model, this.heights, e) > 0) ? 1 : 0;
    return count;
  }
  countTriangles() {
    const { heights } = this;
    const count = ({ elements, triangles: { from } }) => {
      if (!heights) return elements.length;
      let kept = 0;
      for (let i = 0; i < from.length; i += 3)
        kept += heights[from[i]] >= 0 || heights[from[i + 1]] >= 0 || heights[from[i + 2]] >= 0 ? 1 : 0;
      return kept;
    };
    return count(this.drawn.solid) + count(this.drawn.surfaces) + this.drawn.section.elements.length;
  }
  state() {
    const { quantity } = this;
    const { min, max } = quantity.statistics;
    const [low, high] = this.range ?? [min, max];
    return {
      elements: this.header.elements,
      visibleElements: this.countVisible(),
      triangles: this.countTriangles(),
      subvolumes: this.subvolumes.map(({ name, visible }) => ({ name, visible })),
      surfaces: this.surfaces.map(({ name, visible, faces }) => ({ name, visible, faces: faces.length })),
      color: { name: quantity.name, min: low, max: high, unit: quantity.unit },
      selected: this.selected,
      deformation: this.deformation.factor,
      clip: this.clip,
    };
  }

  // The number of an element in the file.
  numberOf(element) {
    return this.model.elementNumbers ? this.model.elementNumbers[element] : element;
  }
  nodeNumberOf(node) {
    return this.model.nodeNumbers ? this.model.nodeNumbers[node] : node;
  }

  hit(ray) {
    const { clip } = this;
    const kept = clip
      ? ([x, y, z]) => clip.normal[0] * x + clip.normal[1] * y + clip.normal[2] * z >= clip.offset
      : () => true;
    let nearest = null;
    for (const name of ['solid', 'surfaces', 'section']) {
      const { points, elements } = this.drawn[name];
      const found = castRay(points, elements, ray.origin, ray.direction, name === 'section' ? () => true : kept);
      if (found && (!nearest || found.distance < nearest.distance)) nearest = found;
    }
    return nearest;
  }

  // What there is to say of an element at a place.
  describe({ element, point }) {
    const { starts, connectivity } = this.model;
    const nodes = [...connectivity.subarray(starts[element], starts[element + 1])];
    const distance = (n) => Math.hypot(...point.map((x, k) => x - this.points[3 * n + k]));
    const node = nodes.reduce((a, b) => (distance(b) < distance(a) ? b : a));
    const values = {};
    for (const q of this.quantities)
      if (!q.isCategory) values[q.name] = q.onNodes ? q.values[node] : q.values[element];
    return {
      element: this.numberOf(element),
      subvolume: this.subvolumes[this.model.subvolumes[element]].name,
      position: point,
      node: this.nodeNumberOf(node),
      nodes: nodes.map((n) => this.nodeNumberOf(n)),
      values,
    };
  }

  centerOf(element) {
    const { starts, connectivity } = this.model;
    const nodes = connectivity.subarray(starts[element], starts[element + 1]);
    const center = [0, 0, 0];
    for (const n of nodes) for (let k = 0; k < 3; ++k) center[k] += this.points[3 * n + k] / nodes.length;
    const radius = Math.max(...Array.from(nodes, (n) => Math.hypot(...center.map((x, k) => x - this.points[3 * n + k]))));
    return { center, radius };
  }
}

export { SubvolumeName };
