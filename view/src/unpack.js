// SPDX-License-Identifier: BSD-3-Clause
// The data of a page: a mesh and its values in few bytes, as docs/view.md describes them.

const unzip = async (bytes) =>
  new Uint8Array(await new Response(new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'))).arrayBuffer());

export function bytesOfBase64(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

// `count` whole numbers that stand as differences from the one before.
export function readDifferences(bytes, count, at = 0) {
  const values = new Int32Array(count);
  let last = 0;
  for (let i = 0; i < count; ++i) {
    let rest = 0;
    let scale = 1;
    let byte;
    do {
      byte = bytes[at++];
      rest += (byte & 0x7f) * scale; // differences have up to 33 bits
      scale *= 128;
    } while (byte & 0x80);
    last += rest % 2 === 0 ? rest / 2 : -(rest + 1) / 2;
    values[i] = last;
  }
  return values;
}

// Numbers of `size` bytes, whose first bytes come first, then all second ones, and so on.
function joinPlanes(bytes, count, size, at) {
  const joined = new Uint8Array(count * size);
  for (let plane = 0; plane < size; ++plane)
    for (let i = 0; i < count; ++i) joined[i * size + plane] = bytes[at + plane * count + i];
  return joined.buffer;
}

function readColumn(bytes, count) {
  switch (String.fromCharCode(bytes[0])) {
    case 'i': return readDifferences(bytes, count, 1);
    case 'f': return new Float32Array(joinPlanes(bytes, count, 4, 1));
    case 'd': return new Float64Array(joinPlanes(bytes, count, 8, 1));
    default: throw new Error('the data of this page is damaged');
  }
}

function readPositions(blocks, count, box) {
  const positions = new Float32Array(3 * count);
  for (let axis = 0; axis < 3; ++axis) {
    const steps = new Uint16Array(joinPlanes(blocks[axis], count, 2, 1));
    const size = (box[axis + 3] - box[axis]) / 65535;
    let step = 0;
    for (let i = 0; i < count; ++i) {
      step = (step + steps[i]) & 0xffff;
      positions[3 * i + axis] = box[axis] + step * size;
    }
  }
  return positions;
}

// Where the nodes of each element begin, and behind the last one where they end.
function startsOf(kinds) {
  const starts = new Uint32Array(kinds.length + 1);
  for (let i = 0; i < kinds.length; ++i) starts[i + 1] = starts[i] + kinds[i];
  return starts;
}

export async function unpackModel(bytes) {
  const length = new DataView(bytes.buffer, bytes.byteOffset).getUint32(0, true);
  const header = JSON.parse(new TextDecoder().decode(await unzip(bytes.subarray(4, 4 + length))));
  let at = 4 + length;
  const blocks = await Promise.all(header.blocks.map((block) => unzip(bytes.subarray(at, (at += block.bytes)))));
  const named = (name) => blocks[header.blocks.findIndex((block) => block.name === name)];
  const { elements, nodes } = header;
  const kinds = named('kinds');
  const starts = startsOf(kinds);
  const model = {
    header, kinds, starts,
    positions: readPositions(['position_x', 'position_y', 'position_z'].map(named), nodes, header.box),
    connectivity: readDifferences(named('connectivity'), starts[elements]),
    subvolumes: readDifferences(named('subvolumes'), elements),
    // Where the page has but a part of the mesh: the numbers in the file, and the faces at which the mesh ends.
    elementNumbers: named('element_numbers') && readDifferences(named('element_numbers'), elements),
    nodeNumbers: named('node_numbers') && readDifferences(named('node_numbers'), nodes),
    ends: named('ends'),
  };
  model.fields = header.fields.map((field) => ({
    ...field,
    columns: field.blocks.map((block) => readColumn(blocks[block], field.place === 'nodes' ? nodes : elements)),
  }));
  return model;
}
