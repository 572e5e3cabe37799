// SPDX-License-Identifier: BSD-3-Clause
// The page of a real mesh, held against its file and the program's reports.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { call, closeBrowser, closePage, data, file, ketmesh, openPage, picture, readVtu, state, writePage } from './browser.mjs';

const mesh = data('head_small_tet10.vtu');
const grid = readVtu(mesh);
const grey = grid.read('grey');
const label = grid.read('label');
const near = (a, b, tolerance) => assert.ok(Math.abs(a - b) <= tolerance, `${a} is not ${b}`);
let page;

before(async () => {
  page = await openPage(writePage(mesh, 'head.html', '--frame', 'RAS', '--color', 'grey'));
});
after(async () => {
  await closePage(page);
  await closeBrowser();
});
const reset = async () => {
  await call(page, 'clip', null);
  await call(page, 'selectRange');
  for (const i of [1, 2, 3]) await call(page, 'setVisible', `Label ${i}`, true);
  await call(page, 'setColor', 'grey');
};

test('counts and scale are those of the file', async () => {
  const now = await state(page);
  assert.equal(now.elements, grey.length);
  assert.equal(now.visibleElements, grey.length);
  assert.deepEqual(now.subvolumes, [1, 2, 3].map((i) => ({ name: `Label ${i}`, visible: true })));
  assert.equal(now.color.name, 'grey');
  near(now.color.min, Math.min(...grey), 1e-3);
  near(now.color.max, Math.max(...grey), 1e-3);
  const { surfaces } = ketmesh('surfaces', mesh, '-o', file('s.vtp'), '--interfaces', '--names', 'volumes', '--curved');
  assert.deepEqual(now.surfaces.map((s) => [s.name, 4 * s.faces]).sort(), surfaces.map((s) => [s.name, s.triangles]).sort());
  assert.equal(now.triangles, surfaces.filter((s) => s.name.endsWith('-')).reduce((sum, s) => sum + s.triangles, 0));
});

test('selections and cuts count what the file has', async () => {
  await call(page, 'selectRange', 300, 900);
  const within = (i) => grey[i] >= 300 && grey[i] <= 900;
  const chosen = [...grey.keys()].filter(within);
  assert.equal((await state(page)).selected, chosen.length);
  await call(page, 'setVisible', 'Label 2', false);
  assert.equal((await state(page)).visibleElements, chosen.filter((i) => label[i] !== 2).length);
  await reset();
  const offset = 120.5;
  await call(page, 'clip', [0, 0, 1], offset);
  const kept = grid.cells.filter((nodes) => nodes.some((n) => grid.points[3 * n + 2] >= offset)).length;
  near((await state(page)).visibleElements, kept, 2); // a node may lie on the other side by rounding
  await call(page, 'setColor', 'ScaledJacobian');
  const { metrics } = ketmesh('quality', mesh, '--metric', 'ScaledJacobian');
  near((await state(page)).color.min, metrics.ScaledJacobian.min, 1e-6);
  await reset();
});

test('a click names the element that lies there, on the surface and in a cut', async () => {
  const { box } = ketmesh('info', mesh);
  const middle = (box[1] + box[4]) / 2;
  for (const cut of [null, [0, -1, 0]]) {
    await call(page, 'clip', cut, -middle); // takes the face away
    let found = 0;
    for (const [x, y] of [[380, 380], [330, 300], [430, 420], [300, 450]]) {
      const about = await call(page, 'pick', x, y);
      if (!about) continue;
      ++found;
      near(about.values.grey, grey[about.element], 1e-3);
      assert.equal(about.subvolume, `Label ${label[about.element]}`);
      const nodes = grid.cells[about.element];
      assert.deepEqual(about.nodes, nodes);
      const away = (n) => Math.hypot(...about.position.map((v, k) => v - grid.points[3 * n + k]));
      near(away(about.node), Math.min(...nodes.map(away)), 0.02);
      for (let k = 0; k < 3; ++k) {
        const along = nodes.map((n) => grid.points[3 * n + k]);
        assert.ok(about.position[k] >= Math.min(...along) - 0.5 && about.position[k] <= Math.max(...along) + 0.5);
      }
      if (cut) near(about.position[1], middle, 0.01);
      assert.ok((await page.locator('#picked').textContent()).includes(`Element ${about.element}`));
    }
    assert.ok(found >= 3);
  }
  assert.equal(await call(page, 'pick', 5, 400), null);
  await reset();
});

// The part of a picture around a point, as the mean of red, green and blue.
const colorAt = (x, y) => page.evaluate(async ([shot, px, py]) => {
  const image = await createImageBitmap(await (await new Response(Uint8Array.from(atob(shot), (c) => c.charCodeAt(0)))).blob());
  const pen = new OffscreenCanvas(image.width, image.height).getContext('2d');
  pen.drawImage(image, 0, 0);
  return [...pen.getImageData(px, py, 1, 1).data].slice(0, 3);
}, [page.shot.toString('base64'), x, y]);

test('the colour on the screen is that of the value', async () => {
  await call(page, 'setColor', 'grey');
  await page.keyboard.press('Escape');
  await page.evaluate(() => window.ketmesh.pick(5, 400)); // no mark
  await page.locator('button[title^="Edges"]').click();
  const spots = [[380, 380], [330, 300], [430, 420], [360, 340]];
  const about = [];
  for (const [x, y] of spots) about.push(await call(page, 'pick', x, y));
  await call(page, 'pick', 5, 400);
  await picture(page);
  const { color } = await state(page);
  // viridis at its ends and in between, as its authors published it.
  const viridis = [[68, 1, 84], [59, 82, 139], [33, 145, 140], [94, 201, 98], [253, 231, 37]];
  for (const [i, [x, y]] of spots.entries()) {
    if (!about[i]) continue;
    const at = (4 * (about[i].values.grey - color.min)) / (color.max - color.min);
    const k = Math.min(3, Math.floor(at));
    const expected = viridis[k].map((c, j) => c + (at - k) * (viridis[k + 1][j] - c));
    const seen = await colorAt(x, y);
    const shade = Math.max(...seen) / Math.max(...expected); // light makes it darker
    assert.ok(shade > 0.2 && shade < 1.1, `${seen} of ${expected}`);
    seen.forEach((c, j) => near(c, shade * expected[j], 24));
  }
  await page.locator('button[title^="Edges"]').click();
});

test('each control changes the picture, and back', async () => {
  const controls = {
    'sub-volume': [() => page.locator('.item', { hasText: 'Label 1' }).first().click()],
    edges: [() => page.locator('button[title^="Edges"]').click()],
    theme: [() => page.locator('button[title="Dark or light"]').click()],
    cut: [() => page.locator('#cut').click()],
  };
  const start = await picture(page);
  for (const [name, [use]] of Object.entries(controls)) {
    await use();
    assert.notEqual(await picture(page), start, name);
    await use();
    assert.equal(await picture(page), start, `${name} back`);
  }
  let last = start;
  for (const [name, use] of Object.entries({
    colour: () => page.locator('#color').selectOption('MinDihedralAngle'),
    scale: () => page.locator('.numeric select').selectOption('magma'),
    range: () => page.getByRole('button', { name: 'Middle 96 %' }).click(),
    bar: () => page.locator('.bars button').nth(3).click(),
    'bar by key': async () => { await page.locator('.bars button').first().focus(); await page.keyboard.press('ArrowRight'); await page.keyboard.press('Enter'); },
    'all again': () => page.getByRole('button', { name: 'Show all again' }).click(),
    drag: async () => { await page.mouse.move(380, 380); await page.mouse.down(); await page.mouse.move(480, 400, { steps: 4 }); await page.mouse.up(); },
    wheel: async () => { await page.mouse.move(380, 380); await page.mouse.wheel(0, -300); },
    // By key: the button of a far side may lie behind that of the near one.
    side: () => page.locator('#gizmo button', { hasText: 'L' }).press('Enter'),
    key: () => page.locator('#picture').press('S'),
    arrow: () => page.locator('#picture').press('ArrowLeft'),
    worst: async () => { await page.getByText('Worst elements').click(); await page.locator('.worst button').first().click(); },
  })) {
    await use();
    // The browser hears of a wheel some time after it was turned.
    let now = await picture(page);
    for (let i = 0; now === last && i < 5; ++i) now = await picture(page);
    assert.notEqual(now, last, name);
    last = now;
  }
  const worst = ketmesh('quality', mesh, '--metric', 'MinDihedralAngle').metrics.MinDihedralAngle.worst[0].element;
  assert.ok((await page.locator('#picked').textContent()).includes(`Element ${worst}`));
});

test('the picture is saved, and the numbers are tables', async () => {
  const [download] = await Promise.all([page.waitForEvent('download'), page.locator('button[title="Save as picture"]').click()]);
  assert.equal(download.suggestedFilename(), 'head_small_tet10.png');
  await page.getByText('Numbers', { exact: true }).click();
  // The tables are filled when the browser has opened them.
  await page.getByRole('table').filter({ hasText: '46,924' }).first().waitFor();
});
