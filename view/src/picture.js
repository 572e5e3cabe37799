// SPDX-License-Identifier: BSD-3-Clause
import { categoryColor, Scales } from './colors.js';
import { formatValue, ticks } from './format.js';

// The picture with its legend, as a canvas.
function draw(scene, viewer) {
  scene.renderNow(); // the browser forgets what WebGL drew once it has shown it
  const { canvas } = scene;
  const copy = document.createElement('canvas');
  copy.width = canvas.width;
  copy.height = canvas.height;
  const pen = copy.getContext('2d');
  pen.drawImage(canvas, 0, 0);
  const size = canvas.height / scene.container.getBoundingClientRect().height;
  pen.scale(size, size);
  pen.fillStyle = getComputedStyle(document.body).color;
  pen.font = '13px system-ui, sans-serif';
  pen.textBaseline = 'middle';
  const right = canvas.width / size - 20;
  if (viewer.quantity.isCategory) drawCategories(pen, viewer, right);
  else drawScale(pen, viewer, right);
  return copy;
}

function drawCategories(pen, viewer, right) {
  const ink = pen.fillStyle;
  const shown = viewer.subvolumes.map((s, i) => [s, i]).filter(([s]) => s.visible).slice(0, 12);
  const width = Math.max(0, ...shown.map(([s]) => pen.measureText(s.name).width));
  shown.forEach(([{ name }, i], line) => {
    pen.fillStyle = categoryColor(i);
    pen.fillRect(right - width - 20, 24 + 20 * line, 12, 12);
    pen.fillStyle = ink;
    pen.fillText(name, right - width, 30 + 20 * line);
  });
}

function drawScale(pen, viewer, right) {
  const [min, max] = viewer.range;
  const [top, height, width] = [50, 220, 14];
  const marks = ticks(min, max, 5);
  const left = right - width - 10 - Math.max(...marks.map((v) => pen.measureText(formatValue(v)).width));
  const colors = Scales[viewer.scale];
  const strip = pen.createLinearGradient(0, top + height, 0, top);
  colors.forEach((c, i) => strip.addColorStop(i / (colors.length - 1), c));
  const ink = pen.fillStyle;
  pen.fillStyle = strip;
  pen.fillRect(left, top, width, height);
  pen.fillStyle = ink;
  for (const v of marks) {
    const y = top + height * (1 - (max > min ? (v - min) / (max - min) : 0.5));
    pen.fillRect(left + width, y - 0.5, 4, 1);
    pen.fillText(formatValue(v), left + width + 8, y);
  }
  pen.textAlign = 'right';
  pen.font = '600 13px system-ui, sans-serif';
  pen.fillText(viewer.quantity.title, right, 28);
}

// Lets the browser save it as a .png file.
export function savePicture(scene, viewer) {
  return new Promise((done) => {
    draw(scene, viewer).toBlob((blob) => {
      const link = document.createElement('a');
      link.href = URL.createObjectURL(blob);
      link.download = `${viewer.header.file.replace(/\.[^.]*$/, '').replace(/[^\w.-]+/g, '_') || 'mesh'}.png`;
      link.click();
      setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
      done(link.download);
    }, 'image/png');
  });
}
