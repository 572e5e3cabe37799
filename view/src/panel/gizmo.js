// SPDX-License-Identifier: BSD-3-Clause
import { h } from './dom.js';

// The directions of the body as they lie on the screen; each looks from there.
export function gizmo(place, scene, control, views) {
  const radius = 34;
  const buttons = Object.entries(views).map(([name, view]) => ({
    view, button: h('button', { type: 'button', title: view.title === name ? `From ${name}` : `From the ${view.title} (${name})`, ariaLabel: `View from ${view.title}`, onclick: () => control.look(view) }, name),
    arm: h('i'),
  }));
  place.replaceChildren(...buttons.flatMap(({ arm, button }) => [arm, button]));
  scene.onRender(() => {
    const axes = control.screenAxes();
    for (const { view: { from }, button, arm } of buttons) {
      const [x, y, z] = axes.map((axis) => axis[0] * from[0] + axis[1] * from[1] + axis[2] * from[2]);
      button.style.transform = `translate(${(x * radius).toFixed(1)}px, ${(-y * radius).toFixed(1)}px)`;
      button.style.zIndex = String(Math.round(10 + 9 * z));
      button.classList.toggle('back', z < -0.05);
      const length = Math.hypot(x, y) * radius;
      arm.style.width = `${length.toFixed(1)}px`;
      arm.style.transform = `rotate(${Math.atan2(-y, x).toFixed(3)}rad)`;
      arm.style.zIndex = String(Math.round(9 + 9 * z));
    }
  });
}
