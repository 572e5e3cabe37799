// SPDX-License-Identifier: BSD-3-Clause
// Makes the page: build.mjs FOLDER VERSION. FOLDER has node_modules, and gets PageTemplate.cpp: the page in front of
// the data of a mesh and behind it, as strings. Scripts and styles are known to the page's security policy by their
// hashes, so nothing else can run in it.
import { createHash } from 'node:crypto';
import { existsSync, readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

const [, , folder, version] = process.argv;
const source = join(dirname(fileURLToPath(import.meta.url)), 'src');
const modules = resolve(folder, 'node_modules');
const esbuild = createRequire(join(modules, 'build.js'))('esbuild');

// The licence of each package of which something is in the page, as the licences ask for.
function licences(metafile) {
  const packages = new Set();
  for (const [file, input] of Object.entries(metafile.outputs).flatMap(([, o]) => Object.entries(o.inputs)))
    if (input.bytesInOutput > 0 && file.includes('node_modules/'))
      packages.add(file.split('node_modules/').pop().match(/^(@[^/]+\/)?[^/]+/)[0]);
  return [...packages].sort().map((name) => {
    const at = join(modules, name);
    const about = JSON.parse(readFileSync(join(at, 'package.json'), 'utf8'));
    const read = (file) => (existsSync(join(at, file)) ? readFileSync(join(at, file), 'utf8') : '');
    const text = ['LICENSE', 'LICENSE.md', 'LICENSE.txt', 'LICENCE', 'license'].map(read).find(Boolean) ??
      read('README.md').match(/^LICEN[SC]E[^]*/m)?.[0];
    if (!text) throw new Error(`${name} has no licence text`);
    return { name, version: about.version, licence: about.license, text: text.trim() };
  });
}

async function bundle(entry, options) {
  const result = await esbuild.build({
    entryPoints: [join(source, entry)], bundle: true, write: false, minify: true, metafile: true,
    target: ['chrome103', 'firefox113', 'safari16.4'], nodePaths: [modules], absWorkingDir: resolve(folder),
    legalComments: 'none', logLevel: 'warning', ...options,
  });
  return { text: result.outputFiles[0].text.trim(), metafile: result.metafile };
}

const constants = (notices) => ({ KETMESH_VERSION: JSON.stringify(version), KETMESH_LICENCES: JSON.stringify(notices) });
const hash = (text) => `'sha256-${createHash('sha256').update(text, 'utf8').digest('base64')}'`;

const script = { format: 'iife' };
const { metafile } = await bundle('main.js', { ...script, define: constants([]) });
const code = (await bundle('main.js', { ...script, define: constants(licences(metafile)) })).text;
const start = (await bundle('start.js', script)).text;
const style = (await bundle('page.css', {})).text;
const policy = [
  "default-src 'none'", `script-src ${hash(start)} ${hash(code)}`, `style-src ${hash(style)}`, 'img-src data: blob:',
  "base-uri 'none'", "form-action 'none'",
].join('; ');

const parts = {
  POLICY: policy, STYLE: style, START: start,
  CODE: gzipSync(Buffer.from(code, 'utf8'), { level: 9 }).toString('base64'),
};
const page = readFileSync(join(source, 'page.html'), 'utf8').replace(/@(POLICY|STYLE|START|CODE)@/g, (_, key) => parts[key]);
const [before, behind] = page.split('@DATA@');

// Compilers have limits for the length of one string.
const pieces = (text) => text.match(/[^]{1,16000}/g).map((piece) => `    R"page~(${piece})page~",`).join('\n');
writeFileSync(join(folder, 'PageTemplate.cpp'), `// Made by view/build.mjs.
#include <KetSDK/MeshJobs/detail/PageTemplate.h>

namespace KetSDK::MeshJobs::Detail {

namespace {

constexpr std::string_view Before[] = {
${pieces(before)}
};
constexpr std::string_view Behind[] = {
${pieces(behind)}
};

} // namespace

PageTemplate GetPageTemplate() {
    return {Before, Behind};
}

} // namespace KetSDK::MeshJobs::Detail
`);
