// SPDX-License-Identifier: BSD-3-Clause
// The page of a solved head, and the picture of it that README shows (docs/view.png is a copy of solved.png, which this
// leaves in the build folder).
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, test } from 'node:test';

import { call, closeBrowser, closePage, data, file, ketmesh, openPage, picture, state, writePage } from './browser.mjs';

after(closeBrowser);

test('results have their values, units and shape', async () => {
  ketmesh('mesh', data('head_labels.nii.gz'), '-o', file('head.vtu'), '--size', '10');
  ketmesh('materials', file('head.vtu'), '--image', data('head_ct.nii.gz'), '--law', '1,0.001,1,0,0', '--modulus', '3000,2',
    '--bins', '20', '--sampling', 'mean', '-o', file('model.vtu'));
  const solved = ketmesh('solve', file('model.vtu'), '--case', data('head_case.toml'), '-o', file('head_solved.vtu'));
  const page = await openPage(writePage(file('head_solved.vtu'), 'solved.html'), { width: 1200, height: 760 });
  const largest = async (name, value, unit) => {
    await call(page, 'setColor', name);
    const { color } = await state(page);
    assert.ok(Math.abs(color.max - value) <= 1e-6 * value, `${name}: ${color.max} is not ${value}`);
    assert.equal(color.unit, unit);
  };
  assert.equal((await state(page)).color.name, 'von_mises');
  await largest('displacement', solved.max_displacement, 'mm');
  await largest('von_mises', solved.max_von_mises, 'MPa');
  const before = await picture(page);
  await call(page, 'deform', 20 / solved.max_displacement); // the crown comes down by 20 mm
  assert.notEqual(await picture(page), before);
  const { box } = ketmesh('info', file('head_solved.vtu'));
  await page.locator('#picture').press('S');
  const crown = await call(page, 'pick', 430, 380);
  assert.ok(crown.position[2] < box[5] - 8, `${crown.position} lies as high as ${box}`);
  await call(page, 'deform', 0);
  await page.reload();
  await page.evaluate(() => window.ketmesh.ready);
  await page.getByRole('button', { name: 'Middle 96 %' }).click();
  await call(page, 'clip', [0, -1, 0], -(0.4 * box[1] + 0.6 * box[4]));
  await picture(page);
  await page.screenshot({ path: join(process.env.KETMESH_PAGE_FOLDER, 'solved.png') });
  await closePage(page);
});
