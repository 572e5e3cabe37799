// SPDX-License-Identifier: BSD-3-Clause
// What the tests of the page share: runs of ketmesh, a browser that writes down what a page must not do, and meshes read
// from their files without our own code.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { inflateSync } from 'node:zlib';

const { KETMESH, KETMESH_DATA, KETMESH_PAGE_FOLDER, KETMESH_CHROMIUM } = process.env;
const { chromium } = createRequire(join(KETMESH_PAGE_FOLDER, 'node_modules', 'tests.js'))('playwright-core');

export const data = (name) => join(KETMESH_DATA, name);
export const folder = mkdtempSync(join(tmpdir(), 'ketmesh-view-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));
export const file = (name) => join(folder, name);

export function ketmesh(...words) {
  return JSON.parse(execFileSync(KETMESH, [...words, '--json'], { encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] }));
}
export function writePage(mesh, name, ...words) {
  ketmesh('view', mesh, '-o', file(name), ...words);
  return file(name);
}

let browser;
const flags = [
  '--no-sandbox', '--use-angle=swiftshader', '--enable-unsafe-swiftshader', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync',
];

// Opens a page from the disk. `faults` gets each request but that of the file, and each error on the console.
export async function openPage(path, { width = 1100, height = 760, ...options } = {}) {
  browser ??= await chromium.launch({ executablePath: KETMESH_CHROMIUM, args: flags });
  const context = await browser.newContext({ viewport: { width, height }, reducedMotion: 'reduce', ...options });
  context.setDefaultTimeout(120_000); // other tests may run beside
  const page = await context.newPage();
  const url = `file://${encodeURI(path).replace(/[?#]/g, encodeURIComponent)}`;
  page.faults = [];
  page.on('request', (r) => r.url() !== url && !/^(blob|data):/.test(r.url()) && page.faults.push(`request ${r.url()}`));
  page.on('console', (m) => ['error', 'warning'].includes(m.type()) && page.faults.push(`console: ${m.text()}`));
  page.on('pageerror', (e) => page.faults.push(`error: ${e.stack}`));
  await page.goto(url);
  await page.evaluate(() => window.ketmesh.ready);
  return page;
}
export async function closePage(page) {
  assert.deepEqual(page.faults, []);
  await page.context().close();
}
export const closeBrowser = () => browser?.close();

export const state = (page) => page.evaluate(() => window.ketmesh.state());
export const call = (page, name, ...values) => page.evaluate(([n, v]) => window.ketmesh[n](...v), [name, values]);
// What is drawn, without the mouse on a control, as a hash.
export async function picture(page) {
  const { width, height } = page.viewportSize();
  await page.mouse.move(width - 1, height - 1);
  await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
  page.shot = await page.screenshot({ clip: await page.locator('#stage').boundingBox() });
  return createHash('sha1').update(page.shot).digest('hex');
}

// A .vtu file with appended, compressed arrays, as those in data/: {points, cells, types, arrays}.
export function readVtu(path) {
  const bytes = readFileSync(path);
  const start = bytes.indexOf('_', bytes.indexOf('<AppendedData')) + 1;
  const header = bytes.subarray(0, start).toString('latin1');
  const types = { Int32: Int32Array, Int64: BigInt64Array, UInt8: Uint8Array, Float32: Float32Array, Float64: Float64Array };
  const read = (name) => {
    const tag = header.match(new RegExp(`<DataArray[^>]*Name="${name}"[^>]*>`))[0];
    let at = start + Number(tag.match(/offset="(\d+)"/)[1]);
    const [blocks] = [bytes.readUInt32LE(at)];
    let from = at + 12 + 4 * blocks;
    const parts = [];
    for (let i = 0; i < blocks; ++i) {
      const size = bytes.readUInt32LE(at + 12 + 4 * i);
      parts.push(inflateSync(bytes.subarray(from, from + size)));
      from += size;
    }
    const whole = Uint8Array.from(Buffer.concat(parts));
    return new types[tag.match(/type="(\w+)"/)[1]](whole.buffer);
  };
  const connectivity = Array.from(read('connectivity'), Number);
  const offsets = Array.from(read('offsets'), Number);
  return {
    points: read('Points'), read,
    cells: offsets.map((end, i) => connectivity.slice(i === 0 ? 0 : offsets[i - 1], end)),
  };
}
