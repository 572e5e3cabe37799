// SPDX-License-Identifier: BSD-3-Clause
// A mesh of 600,000 elements is on the screen, drawn without a graphics card, within 15 seconds.
import assert from 'node:assert/strict';
import { after, test } from 'node:test';

import { call, closeBrowser, closePage, data, file, ketmesh, openPage, picture, state, writePage } from './browser.mjs';

after(closeBrowser);

// Machines that others use as well may be given longer.
const limit = Number(process.env.KETMESH_READY_SECONDS ?? 15);

test(`600,000 elements are ready within ${limit} s`, async () => {
  // Each element in eight, twice: of 1952 hexahedra.
  ketmesh('convert', data('hex_matrix_fiber.vtu'), '--to', 'tet4', '-o', file('a.kmesh'));
  for (const [from, to] of [['a', 'b'], ['b', 'c']]) {
    ketmesh('convert', file(`${from}.kmesh`), '--to', 'tet10', '-o', file('q.kmesh'));
    ketmesh('convert', file('q.kmesh'), '--to', 'tet4', '--split', '-o', file(`${to}.kmesh`));
  }
  const path = writePage(file('c.kmesh'), 'large.html', '--metrics', 'ScaledJacobian,Volume');
  const start = performance.now();
  const page = await openPage(path);
  await picture(page);
  const seconds = (performance.now() - start) / 1000;
  console.log(`ready after ${seconds.toFixed(1)} s`);
  assert.ok((await state(page)).elements >= 600_000);
  assert.ok(seconds < limit, `${seconds} s`);
  const cut = await page.evaluate(() => {
    const from = performance.now();
    window.ketmesh.clip([0, 0, 1], 0.5);
    return performance.now() - from;
  });
  console.log(`cut within ${(cut / 1000).toFixed(2)} s`);
  await call(page, 'setColor', 'ScaledJacobian');
  await call(page, 'selectRange', 0, 0.3);
  assert.ok((await state(page)).selected > 0);
  await closePage(page);
});
