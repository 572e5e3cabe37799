// SPDX-License-Identifier: BSD-3-Clause
// The kinds of elements, by their number of nodes.

// Faces in the order of solvers, winding outwards: corners, and the node between each and the next, if any.
// Edges of `loop` go around a face through all of its nodes; `triangles` cut it.
const triangle = (a, b, c) => ({ corners: [a, b, c], loop: [a, b, c], triangles: [[a, b, c]] });
const quadrilateral = (a, b, c, d) => ({ corners: [a, b, c, d], loop: [a, b, c, d], triangles: [[a, b, c], [a, c, d]] });
const curved = (a, b, c, ab, bc, ca) => ({
  corners: [a, b, c], loop: [a, ab, b, bc, c, ca],
  triangles: [[a, ab, ca], [b, bc, ab], [c, ca, bc], [ab, bc, ca]],
});

// Tetrahedra that an element is cut into for sections, and for each of their four faces, which lies across from the
// corner with its number, whether it lies on a face of the element.
function cells(tetrahedra) {
  const key = (t, k) => t.filter((_, i) => i !== k).sort((a, b) => a - b).join();
  const counts = {};
  for (const t of tetrahedra) for (let k = 0; k < 4; ++k) counts[key(t, k)] = (counts[key(t, k)] ?? 0) + 1;
  return tetrahedra.map((nodes) => ({ nodes, outer: [0, 1, 2, 3].map((k) => counts[key(nodes, k)] === 1) }));
}

export const Kinds = {
  4: {
    name: 'four-node tetrahedron', corners: 4,
    faces: [triangle(0, 2, 1), triangle(0, 1, 3), triangle(1, 2, 3), triangle(2, 0, 3)],
    cells: cells([[0, 1, 2, 3]]),
  },
  6: {
    name: 'wedge', corners: 6,
    faces: [triangle(0, 2, 1), triangle(3, 4, 5), quadrilateral(0, 1, 4, 3), quadrilateral(1, 2, 5, 4),
      quadrilateral(2, 0, 3, 5)],
    cells: cells([[0, 1, 2, 5], [0, 1, 5, 4], [0, 4, 5, 3]]),
  },
  8: {
    name: 'hexahedron', corners: 8,
    faces: [quadrilateral(0, 3, 2, 1), quadrilateral(4, 5, 6, 7), quadrilateral(0, 1, 5, 4),
      quadrilateral(1, 2, 6, 5), quadrilateral(2, 3, 7, 6), quadrilateral(3, 0, 4, 7)],
    cells: cells([[0, 1, 2, 6], [0, 2, 3, 6], [0, 3, 7, 6], [0, 7, 4, 6], [0, 4, 5, 6], [0, 5, 1, 6]]),
  },
  10: {
    name: 'ten-node tetrahedron', corners: 4,
    faces: [curved(0, 2, 1, 6, 5, 4), curved(0, 1, 3, 4, 8, 7), curved(1, 2, 3, 5, 9, 8), curved(2, 0, 3, 6, 7, 9)],
    cells: cells([[0, 4, 6, 7], [4, 1, 5, 8], [6, 5, 2, 9], [7, 8, 9, 3], [4, 8, 6, 7], [4, 5, 6, 8], [6, 5, 9, 8],
      [6, 9, 7, 8]]),
  },
};
