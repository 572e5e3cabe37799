// SPDX-License-Identifier: BSD-3-Clause
// Colour scales as a few colours at even distances, dark to bright for people who see colours differently, too.
export const Scales = {
  viridis: ['#440154', '#482878', '#3e4a89', '#31688e', '#26828e', '#1f9e89', '#35b779', '#6ece58', '#b5de2b', '#fde725'],
  magma: ['#000004', '#180f3d', '#440f76', '#721f81', '#9e2f7f', '#cd4071', '#f1605d', '#fd9668', '#feca8d', '#fcfdbf'],
  'blue to red': ['#2c4a9e', '#4f7bbf', '#86aed6', '#c3d8e6', '#f2efe9', '#f3cdb5', '#e59a7c', '#cb5b4c', '#a11f35'],
  rainbow: ['#30317e', '#4676ed', '#1bcfd4', '#61fc6c', '#d2e935', '#fe9b2d', '#da3907', '#7a0403'],
  grey: ['#1c1c1c', '#f4f4f4'],
};

export const NoValue = '#8a8f98';
// Of sub-volumes, again from the first when there are more.
export const Categories = [
  '#e3b778', '#5b93c6', '#6fae7b', '#c9655a', '#9a7cb5', '#45a8a3', '#d88bb0', '#a89a5b', '#6d7fd0', '#c98a4a',
];

export const rgbOf = (hex) => [1, 3, 5].map((i) => parseInt(hex.slice(i, i + 2), 16));

export const categoryColor = (number) => (number < 0 ? NoValue : Categories[number % Categories.length]);

// The colour at a place between 0 and 1 of a scale, as three numbers from 0 to 255.
export function scaleColor(name, place) {
  const colors = Scales[name].map(rgbOf);
  const at = Math.min(1, Math.max(0, place)) * (colors.length - 1);
  const i = Math.min(colors.length - 2, Math.floor(at));
  return colors[i].map((c, k) => Math.round(c + (at - i) * (colors[i + 1][k] - c)));
}

// 256 colours of a scale, three bytes each.
export function colorTable(name) {
  const table = new Uint8Array(3 * 256);
  for (let i = 0; i < 256; ++i) table.set(scaleColor(name, i / 255), 3 * i);
  return table;
}

export const gradient = (name, direction) => `linear-gradient(${direction}, ${Scales[name].join(', ')})`;
