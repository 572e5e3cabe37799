// SPDX-License-Identifier: BSD-3-Clause
import { Kinds } from './kinds.js';

// Triangles and lines to draw. Corners are not shared between triangles, so that each can have the value of its
// element. A corner lies between two nodes, `from` and `to`, `weight` of the way; at a node both are that node.

class Growing {
  constructor(type) {
    this.values = new type(4096);
    this.length = 0;
  }
  push(value) {
    if (this.length === this.values.length) {
      const larger = new this.values.constructor(2 * this.length);
      larger.set(this.values);
      this.values = larger;
    }
    this.values[this.length++] = value;
  }
  take() {
    return this.values.slice(0, this.length);
  }
}

// Triangles and the edges of elements on them.
class Pieces {
  constructor() {
    this.from = new Growing(Int32Array);
    this.to = new Growing(Int32Array);
    this.weight = new Growing(Float32Array);
    this.elements = new Growing(Int32Array);
    this.lineFrom = new Growing(Int32Array);
    this.lineTo = new Growing(Int32Array);
    this.lineWeight = new Growing(Float32Array);
  }
  corner(from, to, weight) {
    this.from.push(from);
    this.to.push(to);
    this.weight.push(weight);
  }
  lineEnd(from, to, weight) {
    this.lineFrom.push(from);
    this.lineTo.push(to);
    this.lineWeight.push(weight);
  }
  take() {
    return {
      triangles: { from: this.from.take(), to: this.to.take(), weight: this.weight.take() },
      elements: this.elements.take(),
      lines: { from: this.lineFrom.take(), to: this.lineTo.take(), weight: this.lineWeight.take() },
    };
  }
}

// Faces of elements. An edge between two faces is drawn once when the faces close a body.
export function facePieces(model, topology, faces, closed = true) {
  const { kinds, starts, connectivity } = model;
  const pieces = new Pieces();
  for (const f of faces) {
    const e = topology.owners[f];
    const face = Kinds[kinds[e]].faces[f - topology.faceStarts[e]];
    const node = (i) => connectivity[starts[e] + i];
    for (const triangle of face.triangles) {
      for (const i of triangle) pieces.corner(node(i), node(i), 0);
      pieces.elements.push(e);
    }
    const { corners, loop } = face;
    const step = loop.length / corners.length;
    for (let i = 0; i < loop.length; ++i) {
      const corner = Math.floor(i / step);
      if (closed && node(corners[corner]) > node(corners[(corner + 1) % corners.length])) continue;
      const a = node(loop[i]);
      const b = node(loop[(i + 1) % loop.length]);
      pieces.lineEnd(a, a, 0);
      pieces.lineEnd(b, b, 0);
    }
  }
  return pieces.take();
}

// Which side of the plane each node lies on: 1 where the mesh is kept.
export function nodeSides(points, { normal, offset }) {
  const heights = new Float32Array(points.length / 3);
  for (let i = 0; i < heights.length; ++i)
    heights[i] = normal[0] * points[3 * i] + normal[1] * points[3 * i + 1] + normal[2] * points[3 * i + 2] - offset;
  return heights;
}

// How many nodes of an element are kept.
export function countKept({ starts, connectivity }, heights, e) {
  let kept = 0;
  for (let i = starts[e]; i < starts[e + 1]; ++i) if (heights[connectivity[i]] >= 0) ++kept;
  return kept;
}

// The plane's section of the visible elements, as polygons of the tetrahedra that elements are cut into.
export function sectionPieces(model, visible, heights) {
  const { kinds, starts, connectivity } = model;
  const pieces = new Pieces();
  const above = [];
  const below = [];
  for (let e = 0; e < kinds.length; ++e) {
    if (!visible[e]) continue;
    const kept = countKept(model, heights, e);
    if (kept === 0 || kept === kinds[e]) continue;
    for (const { nodes, outer } of Kinds[kinds[e]].cells) {
      above.length = below.length = 0;
      for (let k = 0; k < 4; ++k) (heights[connectivity[starts[e] + nodes[k]]] >= 0 ? above : below).push(k);
      if (above.length === 0 || below.length === 0) continue;
      const node = (k) => connectivity[starts[e] + nodes[k]];
      // Corners of the polygon, each on an edge, and for each side the corner across from the face that it lies on.
      const [edges, across] = polygonOf(above, below);
      const at = edges.map(([a, b]) => {
        const [from, to] = [node(a), node(b)];
        return [from, to, heights[from] / (heights[from] - heights[to])];
      });
      for (let k = 2; k < at.length; ++k) {
        for (const corner of [at[0], at[k - 1], at[k]]) pieces.corner(...corner);
        pieces.elements.push(e);
      }
      for (let k = 0; k < at.length; ++k)
        if (outer[across[k]]) {
          pieces.lineEnd(...at[k]);
          pieces.lineEnd(...at[(k + 1) % at.length]);
        }
    }
  }
  return pieces.take();
}

function polygonOf(above, below) {
  if (above.length === 2) {
    const [a, b] = above;
    const [c, d] = below;
    return [[[a, c], [a, d], [b, d], [b, c]], [b, c, a, d]];
  }
  const [tip, base] = above.length === 1 ? [above[0], below] : [below[0], above];
  return [base.map((k) => [tip, k]), [base[2], base[0], base[1]]];
}

// Where the corners lie.
export function cornerPoints(points, { from, to, weight }) {
  const out = new Float32Array(3 * from.length);
  for (let i = 0; i < from.length; ++i)
    for (let k = 0; k < 3; ++k) {
      const p = points[3 * from[i] + k];
      out[3 * i + k] = weight[i] === 0 ? p : p + weight[i] * (points[3 * to[i] + k] - p);
    }
  return out;
}

// The values that nodes give the corners.
export function cornerValues(values, { from, to, weight }) {
  const out = new Float32Array(from.length);
  for (let i = 0; i < from.length; ++i) {
    const v = values[from[i]];
    out[i] = weight[i] === 0 ? v : v + weight[i] * (values[to[i]] - v);
  }
  return out;
}

// The first triangle that a ray meets: {element, point, distance}, or null. Points for which `isKept` is false do not
// count.
export function castRay(corners, elements, origin, direction, isKept) {
  const [ox, oy, oz] = origin;
  const [dx, dy, dz] = direction;
  let nearest = Infinity;
  let found = -1;
  for (let t = 0, i = 0; t < elements.length; ++t, i += 9) {
    const ax = corners[i], ay = corners[i + 1], az = corners[i + 2];
    const ux = corners[i + 3] - ax, uy = corners[i + 4] - ay, uz = corners[i + 5] - az;
    const vx = corners[i + 6] - ax, vy = corners[i + 7] - ay, vz = corners[i + 8] - az;
    const px = dy * vz - dz * vy, py = dz * vx - dx * vz, pz = dx * vy - dy * vx;
    const volume = ux * px + uy * py + uz * pz;
    if (volume === 0) continue;
    const sx = ox - ax, sy = oy - ay, sz = oz - az;
    const u = (sx * px + sy * py + sz * pz) / volume;
    if (u < 0 || u > 1) continue;
    const qx = sy * uz - sz * uy, qy = sz * ux - sx * uz, qz = sx * uy - sy * ux;
    const v = (dx * qx + dy * qy + dz * qz) / volume;
    if (v < 0 || u + v > 1) continue;
    const distance = (vx * qx + vy * qy + vz * qz) / volume;
    if (distance <= 0 || distance >= nearest) continue;
    if (!isKept([ox + distance * dx, oy + distance * dy, oz + distance * dz])) continue;
    nearest = distance;
    found = elements[t];
  }
  if (found < 0) return null;
  return { element: found, distance: nearest, point: direction.map((d, k) => origin[k] + nearest * d) };
}
