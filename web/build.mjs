// Puts the page together in a folder: node web/build.mjs FOLDER NPM_PACKAGE. The report's style and its
// words about the score are taken from tools/page, and the service worker gets the names of all files
// and their digest.
import { createHash } from 'node:crypto';
import { cp, mkdir, readFile, readdir, rm, writeFile } from 'node:fs/promises';
import { brotliCompressSync } from 'node:zlib';

import { policy } from './policy.mjs';

const most = 250000; // bytes of all files, compressed
const [folder, npmPackage] = process.argv.slice(2);
const here = new URL('.', import.meta.url).pathname;
const report = `${here}../tools/page`;
const scripts = ['app', 'bursts', 'capture_time', 'comparer', 'element', 'ranking', 'recording',
  'saving', 'worker', 'worker_calls', 'zip'].map((name) => `${name}.js`);
const modules = ['kelvane.js', 'kelvane.wasm', 'kelvane-scalar.wasm'];

const fill = (text, values) => text.replace(/\{\{(\w+)\}\}/g, (_, name) => values[name]);
const read = (path) => readFile(path, 'utf8');

await rm(folder, { recursive: true, force: true });
await mkdir(`${folder}/kelvane`, { recursive: true });
for (const name of ['page.css', ...scripts])
  await cp(`${here}${name}`, `${folder}/${name}`);
await cp(`${report}/style.css`, `${folder}/report.css`);
for (const name of modules)
  await cp(`${npmPackage}/src/${name}`, `${folder}/kelvane/${name}`);

const [explanation] = /<section id="explanation"[\s\S]*?<\/section>/.exec(await read(`${report}/page.html`));
const { version } = JSON.parse(await read(`${npmPackage}/package.json`));
await writeFile(`${folder}/index.html`,
  fill(await read(`${here}index.html`), { explanation, version, policy: policy.meta }));

const files = (await readdir(folder, { recursive: true, withFileTypes: true }))
  .filter((entry) => entry.isFile())
  .map((entry) => `${entry.parentPath ?? entry.path}/${entry.name}`.slice(folder.length + 1)).sort();
const digest = createHash('sha256');
let compressed = 0;
for (const name of files) {
  const bytes = await readFile(`${folder}/${name}`);
  digest.update(name).update(bytes);
  compressed += brotliCompressSync(bytes).length;
}
await writeFile(`${folder}/service_worker.js`, fill(await read(`${here}service_worker.js`), {
  files: JSON.stringify(['./', ...files]), revision: digest.digest('hex').slice(0, 16),
}));
console.log(`the page: ${files.length + 1} files, ${compressed} bytes compressed`);
if (compressed > most) {
  console.error(`web: the page is larger than ${most} bytes, compressed`);
  process.exitCode = 1;
}
