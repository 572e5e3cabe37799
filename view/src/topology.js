// SPDX-License-Identifier: BSD-3-Clause
import { Kinds } from './kinds.js';

// What lies across each face of each element.

export const Outside = -1; // the mesh ends
export const LeftOut = -2; // an element that is not in the page

// Three nodes that a face is known by: its lowest ones.
function lowestNodes(nodes, start, corners, out) {
  const count = corners.length;
  for (let i = 0; i < count; ++i) {
    const node = nodes[start + corners[i]];
    let at = i;
    while (at > 0 && out[at - 1] > node) out[at] = out[--at];
    out[at] = node;
  }
}

// The faces of all elements in one row: where those of each element begin, and the element across each.
export function findNeighbours({ kinds, starts, connectivity, ends }) {
  const elements = kinds.length;
  const faceStarts = new Uint32Array(elements + 1);
  for (let e = 0; e < elements; ++e) faceStarts[e + 1] = faceStarts[e] + Kinds[kinds[e]].faces.length;
  const faces = faceStarts[elements];
  const neighbours = new Int32Array(faces).fill(Outside);
  const keys = new Int32Array(3 * faces);
  const owners = new Int32Array(faces);
  let size = 1024;
  while (size < 2 * faces) size *= 2;
  const table = new Int32Array(size).fill(-1); // faces that wait for their other side
  const lowest = [0, 0, 0, 0];
  for (let e = 0, f = 0; e < elements; ++e)
    for (const face of Kinds[kinds[e]].faces) {
      lowestNodes(connectivity, starts[e], face.corners, lowest);
      const [a, b, c] = lowest;
      keys[3 * f] = a;
      keys[3 * f + 1] = b;
      keys[3 * f + 2] = c;
      owners[f] = e;
      let at = (Math.imul(a, 0x9e3779b1) ^ Math.imul(b, 0x85ebca6b) ^ Math.imul(c, 0xc2b2ae35)) >>> 0;
      at = (at ^ (at >>> 15)) & (size - 1);
      for (; table[at] >= 0; at = (at + 1) & (size - 1)) {
        const g = table[at];
        if (neighbours[g] === Outside && keys[3 * g] === a && keys[3 * g + 1] === b && keys[3 * g + 2] === c) {
          neighbours[f] = owners[g];
          neighbours[g] = e;
          break;
        }
      }
      if (table[at] < 0) table[at] = f;
      ++f;
    }
  if (ends)
    for (let f = 0; f < faces; ++f)
      if (neighbours[f] === Outside && !((ends[owners[f]] >> (f - faceStarts[owners[f]])) & 1)) neighbours[f] = LeftOut;
  return { faceStarts, neighbours, owners };
}

// The faces at which visible elements end.
export function findShell({ faceStarts, neighbours }, visible) {
  const faces = [];
  for (let e = 0; e < visible.length; ++e) {
    if (!visible[e]) continue;
    for (let f = faceStarts[e]; f < faceStarts[e + 1]; ++f)
      if (neighbours[f] < 0 || !visible[neighbours[f]]) faces.push(f);
  }
  return Uint32Array.from(faces);
}

// The named surfaces of a mesh: where each sub-volume ends and where two of them meet, each face once, on the side of
// the lower sub-volume.
export function findSurfaces({ neighbours, owners }, subvolumes, names) {
  const surfaces = new Map();
  for (let f = 0; f < owners.length; ++f) {
    const inside = subvolumes[owners[f]];
    const other = neighbours[f];
    if (other === LeftOut || (other >= 0 && subvolumes[other] <= inside)) continue;
    const outside = other === Outside ? -1 : subvolumes[other];
    const key = `${inside},${outside}`;
    if (!surfaces.has(key))
      surfaces.set(key, { inside, outside, name: `${names(inside)}-${outside < 0 ? '' : names(outside)}`, faces: [] });
    surfaces.get(key).faces.push(f);
  }
  return [...surfaces.values()].sort((a, b) => a.inside - b.inside || a.outside - b.outside);
}
