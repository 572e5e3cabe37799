// SPDX-License-Identifier: BSD-3-Clause
import '@kitware/vtk.js/Rendering/OpenGL/Profiles/Geometry';
import vtkDataArray from '@kitware/vtk.js/Common/Core/DataArray';
import vtkPlane from '@kitware/vtk.js/Common/DataModel/Plane';
import vtkPolyData from '@kitware/vtk.js/Common/DataModel/PolyData';
import vtkActor from '@kitware/vtk.js/Rendering/Core/Actor';
import vtkColorTransferFunction from '@kitware/vtk.js/Rendering/Core/ColorTransferFunction';
import vtkMapper from '@kitware/vtk.js/Rendering/Core/Mapper';
import vtkRenderer from '@kitware/vtk.js/Rendering/Core/Renderer';
import vtkRenderWindow from '@kitware/vtk.js/Rendering/Core/RenderWindow';
import vtkOpenGLRenderWindow from '@kitware/vtk.js/Rendering/OpenGL/RenderWindow';

import { Scales, rgbOf } from './colors.js';

// What vtk.js draws: bodies of triangles with the edges of elements on them.

const EdgeOpacity = 0.42;
const unit = (rgb) => rgb.map((c) => c / 255);

// Cells of `size` points each, one after another.
function cellsOf(count, size) {
  const cells = new Uint32Array((count / size) * (size + 1));
  for (let at = 0, i = 0; i < count; ) {
    cells[at++] = size;
    for (let k = 0; k < size; ++k) cells[at++] = i++;
  }
  return cells;
}

class Drawn {
  constructor(renderer) {
    this.actor = vtkActor.newInstance();
    this.mapper = vtkMapper.newInstance();
    this.actor.setMapper(this.mapper);
    this.actor.setVisibility(false);
    this.mapper.setScalarVisibility(false);
    renderer.addActor(this.actor);
  }
  get property() {
    return this.actor.getProperty();
  }
  setPlane(plane) {
    this.mapper.removeAllClippingPlanes();
    if (plane) this.mapper.addClippingPlane(plane);
  }
  // Points, `size` for each triangle or line.
  setPoints(points, size) {
    this.actor.setVisibility(points.length > 0);
    if (points.length === 0) return;
    this.data = vtkPolyData.newInstance();
    this.data.getPoints().setData(points, 3);
    (size === 3 ? this.data.getPolys() : this.data.getLines()).setData(cellsOf(points.length / 3, size));
    this.mapper.setInputData(this.data);
  }
}

// Triangles that are coloured, and lines on them.
class Body {
  constructor(renderer) {
    this.faces = new Drawn(renderer);
    this.edges = new Drawn(renderer);
    this.faces.property.set({ ambient: 0.4, diffuse: 0.62, specular: 0 });
    this.edges.property.set({ lighting: false, lineWidth: 1 });
    this.faces.mapper.setResolveCoincidentTopologyToPolygonOffset();
    this.faces.mapper.setRelativeCoincidentTopologyPolygonOffsetParameters(1, 1);
  }
  setGeometry(faces, edges) {
    this.faces.setPoints(faces, 3);
    this.edges.setPoints(edges, 2);
  }
  setPlane(plane) {
    this.faces.setPlane(plane);
    this.edges.setPlane(plane);
  }
  // Three bytes for each corner.
  setColors(rgb) {
    const { mapper, data } = this.faces;
    if (!data) return;
    data.getPointData().setScalars(vtkDataArray.newInstance({ name: 'colors', numberOfComponents: 3, values: rgb }));
    mapper.set({ scalarVisibility: true, interpolateScalarsBeforeMapping: false });
    mapper.setColorModeToDirectScalars();
    mapper.setScalarModeToUsePointData();
  }
  // A value for each corner; colours are those of the values between them.
  setValues(values, table, min, max) {
    const { mapper, data } = this.faces;
    if (!data) return;
    data.getPointData().setScalars(vtkDataArray.newInstance({ name: 'values', numberOfComponents: 1, values }));
    mapper.setLookupTable(table);
    mapper.setScalarRange(min, max);
    mapper.set({ scalarVisibility: true, interpolateScalarsBeforeMapping: true, useLookupTableScalarRange: false });
    mapper.setColorModeToMapScalars();
    mapper.setScalarModeToUsePointData();
  }
}

export class Scene {
  constructor(container) {
    this.container = container;
    this.window = vtkRenderWindow.newInstance();
    this.renderer = vtkRenderer.newInstance();
    this.window.addRenderer(this.renderer);
    this.view = vtkOpenGLRenderWindow.newInstance();
    this.view.setContainer(container);
    this.window.addView(this.view);
    this.renderer.setTwoSidedLighting(true);
    this.solid = new Body(this.renderer);
    this.surfaces = new Body(this.renderer);
    this.section = new Body(this.renderer);
    this.section.faces.property.set({ ambient: 0.72, diffuse: 0.28 }); // flat, and so not to be lit like a body
    this.ghost = new Body(this.renderer);
    this.ghost.faces.property.set({ opacity: 0.09, lighting: true, ambient: 0.5, diffuse: 0.5 });
    this.ghost.faces.actor.setForceTranslucent(true);
    this.mark = new Body(this.renderer);
    this.mark.edges.property.set({ lineWidth: 3 });
    this.plane = vtkPlane.newInstance();
    this.observers = [];
    this.pending = false;
    this.showEdges = true;
  }
  get canvas() {
    return this.view.getCanvas();
  }
  get camera() {
    return this.renderer.getActiveCamera();
  }
  setTheme({ background, edge, ghost, mark }) {
    this.renderer.setBackground(...unit(rgbOf(background)));
    for (const body of [this.solid, this.surfaces, this.section])
      body.edges.property.set({ color: unit(rgbOf(edge)), opacity: EdgeOpacity });
    this.ghost.faces.property.setColor(...unit(rgbOf(ghost)));
    this.mark.edges.property.setColor(...unit(rgbOf(mark)));
  }
  // The part where normal * x >= offset is kept; null keeps all.
  setClip(clip) {
    if (clip) {
      const size = Math.hypot(...clip.normal);
      this.plane.setNormal(...clip.normal.map((x) => x / size));
      this.plane.setOrigin(...clip.normal.map((x) => (x * clip.offset) / (size * size)));
    }
    for (const body of [this.solid, this.surfaces, this.ghost]) body.setPlane(clip && this.plane);
  }
  setEdges(visible) {
    this.showEdges = visible;
  }
  makeTable(scale, min, max) {
    const table = vtkColorTransferFunction.newInstance();
    const colors = Scales[scale].map(rgbOf).map(unit);
    colors.forEach((c, i) => table.addRGBPoint(min + (i / (colors.length - 1)) * (max - min), ...c));
    table.setMappingRange(min, max);
    table.updateRange();
    return table;
  }
  resize() {
    const { width, height } = this.container.getBoundingClientRect();
    const ratio = Math.min(2, window.devicePixelRatio || 1);
    this.view.setSize(Math.max(1, Math.round(width * ratio)), Math.max(1, Math.round(height * ratio)));
    this.render();
  }
  onRender(observer) {
    this.observers.push(observer);
  }
  // Before the browser shows the next frame.
  render() {
    if (this.pending) return;
    this.pending = true;
    requestAnimationFrame(() => this.renderNow());
  }
  renderNow() {
    this.pending = false;
    for (const body of [this.solid, this.surfaces, this.section])
      body.edges.actor.setVisibility(this.showEdges && body.faces.actor.getVisibility());
    this.renderer.resetCameraClippingRange();
    this.window.render();
    for (const observer of this.observers) observer();
  }
}
