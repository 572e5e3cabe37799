// SPDX-License-Identifier: BSD-3-Clause
// The camera: views from the sides, and turning, moving and zooming by mouse, touch and keyboard.

const add = (a, b, s = 1) => a.map((x, k) => x + s * b[k]);
const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
const cross = (a, b) => [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
const normalized = (a) => {
  const size = Math.hypot(...a) || 1;
  return a.map((x) => x / size);
};
// Around an axis of length 1.
function turned(v, axis, angle) {
  const [c, s] = [Math.cos(angle), Math.sin(angle)];
  const across = cross(axis, v);
  const along = dot(axis, v) * (1 - c);
  return v.map((x, k) => x * c + across[k] * s + axis[k] * along);
}

function radiusAround([x, y, z], points) {
  let most = 0;
  for (let i = 0; i < points.length; i += 3)
    most = Math.max(most, (points[i] - x) ** 2 + (points[i + 1] - y) ** 2 + (points[i + 2] - z) ** 2);
  return Math.sqrt(most);
}

// Where to look from, by letter: to the right, left, front, back, head and feet of the body where the mesh says its
// frame, else along the axes.
export function namedViews(frame) {
  const sign = frame === 'LPS' ? -1 : 1;
  const front = [0, sign, 0];
  const views = {
    R: { from: [sign, 0, 0], up: [0, 0, 1], title: 'right' },
    L: { from: [-sign, 0, 0], up: [0, 0, 1], title: 'left' },
    A: { from: front, up: [0, 0, 1], title: 'front' },
    P: { from: [0, -sign, 0], up: [0, 0, 1], title: 'back' },
    S: { from: [0, 0, 1], up: front, title: 'top' },
    I: { from: [0, 0, -1], up: front, title: 'bottom' },
  };
  if (frame) return views;
  return Object.fromEntries(
    [['+X', 'R'], ['−X', 'L'], ['+Y', 'A'], ['−Y', 'P'], ['+Z', 'S'], ['−Z', 'I']].map(([name, letter]) => [
      name, { ...views[letter], title: name },
    ]),
  );
}

export class CameraControl {
  // For a mesh with these points in this box.
  constructor(scene, points, box) {
    this.scene = scene;
    this.center = [0, 1, 2].map((k) => (box[k] + box[k + 3]) / 2);
    this.radius = radiusAround(this.center, points) || 1;
    this.scene.camera.setViewAngle(28);
    this.flight = 0;
  }
  get camera() {
    return this.scene.camera;
  }
  get direction() {
    return this.camera.getDirectionOfProjection();
  }
  get distance() {
    return this.camera.getDistance();
  }
  // To the right, up and towards the eye.
  screenAxes() {
    const right = normalized(cross(this.direction, this.camera.getViewUp()));
    return [right, normalized(cross(right, this.direction)), this.direction.map((x) => -x)];
  }
  // How far away a ball fills the picture.
  distanceFor(radius) {
    const { width, height } = this.scene.container.getBoundingClientRect();
    const half = (this.camera.getViewAngle() * Math.PI) / 360;
    const narrow = Math.atan(Math.tan(half) * Math.min(1, width / Math.max(1, height)));
    return radius / Math.sin(narrow);
  }
  place(target, from, up, distance) {
    this.camera.setFocalPoint(...target);
    this.camera.setPosition(...add(target, from, distance));
    this.camera.setViewUp(...up);
    this.scene.render();
  }
  // All of the mesh, seen from there.
  look({ from, up }, animated = true) {
    const away = normalized(from);
    const across = cross(normalized(up), away);
    this.fly(this.center, away, normalized(cross(away, across)), this.distanceFor(this.radius), animated);
  }
  fit() {
    this.fly(this.center, this.direction.map((x) => -x), this.camera.getViewUp(), this.distanceFor(this.radius));
  }
  // A place from near by, from the present side.
  approach(point, radius) {
    this.fly(point, this.direction.map((x) => -x), this.camera.getViewUp(), this.distanceFor(radius));
  }
  fly(target, from, up, distance, animated = true) {
    const flight = ++this.flight;
    if (!animated || matchMedia('(prefers-reduced-motion: reduce)').matches) return this.place(target, from, up, distance);
    const start = {
      target: this.camera.getFocalPoint(), from: this.direction.map((x) => -x), up: this.camera.getViewUp(),
      distance: this.distance, time: performance.now(),
    };
    if (dot(start.from, from) < -0.99) start.from = add(start.from, up, 0.2); // not through the mesh
    const step = (now) => {
      if (flight !== this.flight) return;
      const part = Math.min(1, (now - start.time) / 350);
      const s = part * part * (3 - 2 * part);
      const mix = (a, b) => a.map((x, k) => x + s * (b[k] - x));
      this.place(mix(start.target, target), normalized(mix(start.from, from)), normalized(mix(start.up, up)),
        start.distance + s * (distance - start.distance));
      if (part < 1) requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }
  // By angles in radians, to the right and up on the screen.
  turn(right, up) {
    ++this.flight;
    const target = this.camera.getFocalPoint();
    let view = normalized(this.camera.getViewUp());
    let from = normalized(this.direction.map((x) => -x));
    const across = normalized(cross(view, from));
    view = normalized(cross(from, across));
    from = turned(from, view, -right);
    const axis = normalized(cross(view, from));
    from = turned(from, axis, up);
    this.place(target, from, normalized(cross(from, axis)), this.distance);
  }
  // By pixels of the screen.
  move(dx, dy) {
    ++this.flight;
    const { height } = this.scene.container.getBoundingClientRect();
    const size = (2 * this.distance * Math.tan((this.camera.getViewAngle() * Math.PI) / 360)) / height;
    const [right, up] = this.screenAxes();
    const by = add(right.map((x) => -x * dx * size), up, dy * size);
    this.camera.setFocalPoint(...add(this.camera.getFocalPoint(), by));
    this.camera.setPosition(...add(this.camera.getPosition(), by));
    this.scene.render();
  }
  // Nearer by a factor, towards a point of the screen.
  zoom(factor, x, y) {
    ++this.flight;
    const { left, top, width, height } = this.scene.container.getBoundingClientRect();
    const dx = x === undefined ? 0 : x - left - width / 2;
    const dy = y === undefined ? 0 : y - top - height / 2;
    const distance = Math.min(40 * this.radius, Math.max(1e-4 * this.radius, this.distance / factor));
    const kept = distance / this.distance;
    this.move(-dx * (1 - kept), -dy * (1 - kept));
    const target = this.camera.getFocalPoint();
    this.place(target, this.direction.map((v) => -v), this.camera.getViewUp(), distance);
  }
  // The ray from the eye through a point of the screen.
  rayThrough(x, y) {
    const { left, top, width, height } = this.scene.container.getBoundingClientRect();
    const half = Math.tan((this.camera.getViewAngle() * Math.PI) / 360);
    const [right, above] = this.screenAxes();
    const sx = ((x - left) / width) * 2 - 1;
    const sy = 1 - ((y - top) / height) * 2;
    const direction = add(add(this.direction, right, (sx * half * width) / height), above, sy * half);
    return { origin: this.camera.getPosition(), direction: normalized(direction) };
  }
}

const TurnPerPixel = 0.008;
const ClickDistance = 5;

// One finger or button turns, two fingers move and zoom, the wheel zooms, Shift or another button moves; a click, which
// is a press that does not move, calls onClick(x, y).
export function bindPointer(element, control, onClick) {
  const pointers = new Map();
  let travelled = 0;
  const spread = () => {
    const [a, b] = [...pointers.values()];
    return { x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, size: Math.hypot(a.x - b.x, a.y - b.y) };
  };
  element.addEventListener('pointerdown', (event) => {
    element.setPointerCapture(event.pointerId);
    pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (pointers.size === 1) travelled = 0;
    else travelled = Infinity;
  });
  element.addEventListener('pointermove', (event) => {
    const last = pointers.get(event.pointerId);
    if (!last) return;
    const before = pointers.size === 2 ? spread() : null;
    const [dx, dy] = [event.clientX - last.x, event.clientY - last.y];
    last.x = event.clientX;
    last.y = event.clientY;
    travelled += Math.abs(dx) + Math.abs(dy);
    if (before) {
      const after = spread();
      control.move(after.x - before.x, after.y - before.y);
      if (before.size > 0 && after.size > 0) control.zoom(after.size / before.size, after.x, after.y);
    } else if (pointers.size === 1 && travelled > ClickDistance) {
      if (event.shiftKey || event.buttons > 1) control.move(dx, dy);
      else control.turn(dx * TurnPerPixel, dy * TurnPerPixel);
    }
  });
  const end = (event) => {
    if (!pointers.delete(event.pointerId)) return;
    if (event.type === 'pointerup' && event.button === 0 && travelled <= ClickDistance) onClick(event.clientX, event.clientY);
  };
  element.addEventListener('pointerup', end);
  element.addEventListener('pointercancel', end);
  element.addEventListener('contextmenu', (event) => event.preventDefault());
  element.addEventListener('wheel', (event) => {
    event.preventDefault();
    control.zoom(Math.exp(-event.deltaY * (event.deltaMode === 1 ? 0.05 : 0.0015)), event.clientX, event.clientY);
  }, { passive: false });
}

const Step = Math.PI / 24;
const KeyMoves = {
  ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1],
};

// Keys on the picture; `actions` are further ones by the key.
export function bindKeys(element, control, actions) {
  element.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const move = KeyMoves[event.key];
    if (move && event.shiftKey) control.move(-move[0] * 30, -move[1] * 30);
    else if (move) control.turn(move[0] * Step, move[1] * Step);
    else if (event.key === '+' || event.key === '=') control.zoom(1.2);
    else if (event.key === '-') control.zoom(1 / 1.2);
    else {
      const action = actions[event.key.toUpperCase()] ?? actions[event.key];
      if (!action) return;
      action();
    }
    event.preventDefault();
  });
}
