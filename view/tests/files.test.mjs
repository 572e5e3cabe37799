// SPDX-License-Identifier: BSD-3-Clause
// Pages of all kinds of files: other elements, results, names that would like to be programs, meshes shown in part, phones.
import assert from 'node:assert/strict';
import { readFileSync, renameSync, writeFileSync } from 'node:fs';
import { after, test } from 'node:test';

import { call, closeBrowser, closePage, data, file, ketmesh, openPage, picture, state, writePage } from './browser.mjs';

after(closeBrowser);

// A .vtu file of a pile of tetrahedra with arrays as text.
function writeVtu(path, { points, cells, cellArrays = {}, pointArrays = {}, names = [] }) {
  const escaped = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);
  const array = (name, values, type = 'Float64', more = '') =>
    `<DataArray type="${type}" Name="${escaped(name)}" format="ascii" ${more}>${values.join(' ')}</DataArray>`;
  const arrays = (all) => Object.entries(all).map(([name, v]) => array(name, v.flat(), 'Float64', `NumberOfComponents="${v[0].length ?? 1}"`)).join('');
  const codes = names.flatMap((name) => [...Buffer.from(`${name}\0`)]);
  writeFileSync(path, `<VTKFile type="UnstructuredGrid" version="0.1" byte_order="LittleEndian"><UnstructuredGrid>
    <FieldData>${names.length > 0 ? array('subvolume_names', codes, 'String', `NumberOfTuples="${names.length}"`) : ''}</FieldData>
    <Piece NumberOfPoints="${points.length}" NumberOfCells="${cells.length}">
    <PointData>${arrays(pointArrays)}</PointData>
    <CellData>${arrays(cellArrays)}${array('subvolume', cells.map((_, i) => i % Math.max(1, names.length)), 'Int32')}</CellData>
    <Points>${array('Points', points.flat(), 'Float64', 'NumberOfComponents="3"')}</Points>
    <Cells>${array('connectivity', cells.flat(), 'Int64')}${array('offsets', cells.map((c, i) => c.length * (i + 1)), 'Int64')}
    ${array('types', cells.map(() => 10), 'UInt8')}</Cells></Piece></UnstructuredGrid></VTKFile>`);
}

// Tetrahedra beside each other along x, each a corner of a cube of 10 mm.
const pile = (count) => ({
  points: Array.from({ length: count }, (_, i) => [[10 * i, 0, 0], [10 * i + 8, 0, 0], [10 * i, 8, 0], [10 * i, 0, 8]]).flat(),
  cells: Array.from({ length: count }, (_, i) => [0, 1, 2, 3].map((k) => 4 * i + k)),
});

test('hexahedra and wedges have their faces and sections', async () => {
  for (const name of ['hex_matrix_fiber.vtu', 'wedge_beam14.vtu']) {
    const page = await openPage(writePage(data(name), `${name}.html`));
    const { surfaces } = ketmesh('surfaces', data(name), '-o', file('s.vtp'), '--names', 'volumes', '--interfaces');
    const outer = surfaces.filter((s) => s.name.endsWith('-')).reduce((sum, s) => sum + s.triangles, 0);
    assert.equal((await state(page)).triangles, outer);
    const whole = await picture(page);
    const { box } = ketmesh('info', data(name));
    const axis = [0, 1, 2].reduce((a, b) => (box[b + 3] - box[b] > box[a + 3] - box[a] ? b : a));
    await call(page, 'clip', [0, 1, 2].map((k) => (k === axis ? -1 : 0)), -(box[axis] + box[axis + 3]) / 2);
    assert.notEqual(await picture(page), whole);
    assert.ok((await state(page)).visibleElements < (await state(page)).elements);
    await closePage(page);
  }
});

test('names that would like to be programs are text', async () => {
  const evil = (n) => `</script><img src=x onerror="window.hacked=${n}"><svg onload=window.hacked=${n}>`;
  const mesh = { ...pile(4), names: [evil(1), '"><script>window.hacked=2</script>'], cellArrays: { [evil(3)]: [1, 2, 3, 4] }, pointArrays: {} };
  mesh.pointArrays[evil(4)] = mesh.points.map((p) => p[0]);
  writeVtu(file('plain.vtu'), mesh);
  const name = `<img src=x onerror=window.hacked=5>@DATA@.vtu`;
  renameSync(file('plain.vtu'), file(name));
  const page = await openPage(writePage(file(name), 'evil.html', '--color', evil(4)));
  assert.equal((await state(page)).color.name, evil(4));
  assert.deepEqual((await state(page)).subvolumes.map((s) => s.name), mesh.names);
  for (const summary of await page.locator('#panel summary').all())
    if ((await summary.evaluate((s) => s.parentElement.open)) === false) await summary.click();
  await page.mouse.click(380, 380);
  for (const color of [evil(3), 'subvolume', evil(4)]) await call(page, 'setColor', color);
  assert.ok((await page.locator('#panel').textContent()).includes(evil(1)));
  assert.ok((await page.title()).includes(name));
  assert.equal(await page.locator('img, #panel script, #stage script, #picture ~ * svg[onload]').count(), 0);
  assert.equal(await page.evaluate(() => window.hacked), undefined);
  await closePage(page);
});

test('the policy stops whatever else would run or connect', async () => {
  const page = await openPage(writePage(data('wedge_beam14.vtu'), 'policy.html'));
  const blocked = await page.evaluate(async () => {
    const script = document.createElement('script');
    script.textContent = 'window.hacked = 1';
    document.body.append(script);
    const holder = document.createElement('div');
    holder.innerHTML = '<img src="file:///x.png" onerror="window.hacked = 2">';
    document.body.append(holder);
    const failed = await fetch('http://127.0.0.1:9/').then(() => false, () => true);
    await new Promise((done) => setTimeout(done, 100));
    return failed && window.hacked === undefined;
  });
  assert.ok(blocked);
  assert.ok(page.faults.filter((f) => f.includes('Content Security Policy')).length >= 3, page.faults.join('\n'));
  await page.context().close();
});

test('values that are not numbers, and shapes by a vector', async () => {
  const mesh = { ...pile(3), names: ['one'], cellArrays: { gaps: [1, 'nan', 3] }, pointArrays: {} };
  mesh.pointArrays.shift = mesh.points.map((p) => [0, 0, p[0] / 10]);
  writeVtu(file('gaps.vtu'), mesh);
  const page = await openPage(writePage(file('gaps.vtu'), 'gaps.html', '--color', 'gaps'));
  const { color } = await state(page);
  assert.deepEqual([color.min, color.max], [1, 3]);
  await call(page, 'selectRange', 1, 3);
  assert.equal((await state(page)).selected, 2);
  await call(page, 'selectRange');
  assert.ok((await page.locator('#legend').textContent()).includes('no value'));
  await call(page, 'setColor', 'shift');
  assert.equal((await state(page)).color.max, Math.fround(2.8));
  const before = await picture(page);
  await page.getByLabel('factor of the deformation').fill('5');
  await page.getByLabel('factor of the deformation').press('Enter');
  await page.waitForFunction(() => window.ketmesh.state().deformation === 5);
  assert.notEqual(await picture(page), before);
  await call(page, 'deform', 0);
  assert.equal(await picture(page), before);
  await closePage(page);
});

test('a mesh that is too large is shown in part, with its own numbers', async () => {
  const mesh = file('tets.vtu');
  ketmesh('convert', data('hex_matrix_fiber.vtu'), '--to', 'tet4', '-o', mesh);
  const whole = await openPage(writePage(mesh, 'whole.html'));
  const part = await openPage(writePage(mesh, 'part.html', '--max-elements', '1000'));
  const [all, some] = [await state(whole), await state(part)];
  assert.ok(some.elements < all.elements);
  assert.ok((await part.locator('.note').textContent()).includes(some.elements.toLocaleString('en')));
  assert.deepEqual(some.surfaces, all.surfaces);
  await part.bringToFront();
  for (const [x, y] of [[380, 380], [330, 420]]) {
    const [a, b] = [await call(whole, 'pick', x, y), await call(part, 'pick', x, y)];
    assert.ok(a);
    assert.deepEqual(b, a);
  }
  await closePage(whole);
  await closePage(part);
});

test('views are those of the frame', async () => {
  const mesh = data('hex_matrix_fiber.vtu');
  for (const [frame, right] of [['RAS', 1], ['LPS', -1]]) {
    const page = await openPage(writePage(mesh, `${frame}.html`, '--frame', frame));
    assert.deepEqual((await page.locator('#gizmo button').allTextContents()).sort(), [...'AILPRS']);
    await page.locator('#picture').press('r');
    await picture(page);
    // Seen from the right, the point in the middle lies on the right side of the body.
    const { box } = ketmesh('info', mesh);
    const hit = await call(page, 'pick', 380, 380);
    const middle = (box[0] + box[3]) / 2;
    assert.ok(right * (hit.position[0] - middle) > 0.2 * (box[3] - box[0]));
    await closePage(page);
  }
  const page = await openPage(writePage(mesh, 'none.html'));
  assert.ok((await page.locator('#gizmo button').allTextContents()).includes('+X'));
  await closePage(page);
});

test('a notebook shows the page in a frame that is shut off', async () => {
  const path = writePage(data('wedge_beam14.vtu'), 'framed.html');
  const text = readFileSync(path, 'utf8').replaceAll('&', '&amp;').replaceAll('"', '&quot;');
  writeFileSync(file('notebook.html'), `<iframe sandbox="allow-scripts allow-downloads" srcdoc="${text}"></iframe>
    <script>window.ketmesh = { ready: true }</script>`);
  const page = await openPage(file('notebook.html'));
  const frame = page.frames()[1];
  await frame.evaluate(() => window.ketmesh.ready);
  assert.equal((await frame.evaluate(() => window.ketmesh.state())).elements, ketmesh('info', data('wedge_beam14.vtu')).elements);
  await assert.rejects(frame.evaluate(() => window.parent.document.title));
  await closePage(page);
});

test('a phone turns by one finger, zooms by two, and its panel fits', async () => {
  const page = await openPage(writePage(data('wedge_beam14.vtu'), 'phone.html'), { width: 390, height: 780, hasTouch: true, isMobile: true });
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= window.innerWidth));
  const start = await picture(page);
  const touch = async (...moves) => {
    const session = await page.context().newCDPSession(page);
    const points = (list) => list.map(([x, y], id) => ({ x, y, id }));
    await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: points(moves[0]) });
    for (const move of moves.slice(1)) await session.send('Input.dispatchTouchEvent', { type: 'touchMove', touchPoints: points(move) });
    await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
  };
  await touch([[150, 200]], [[180, 200]], [[220, 210]]);
  const turned = await picture(page);
  assert.notEqual(turned, start);
  await touch([[150, 200], [200, 200]], [[130, 200], [220, 200]], [[100, 200], [250, 200]]);
  assert.notEqual(await picture(page), turned);
  await page.touchscreen.tap(195, 210);
  assert.ok(await page.locator('#picked').isVisible());
  await closePage(page);
});
