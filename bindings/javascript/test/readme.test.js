// The examples of README.md print what their last comment says.
import assert from 'node:assert/strict';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import { test } from 'node:test';
import { execFile } from 'node:child_process';
import { promisify } from 'node:util';

const root = new URL('..', import.meta.url);
const text = await readFile(new URL('README.md', root), 'utf8');
const examples = [...text.matchAll(/```js\n([\s\S]*?)```/g)].map((match) => match[1]);

test('has three examples', () => assert.equal(examples.length, 3));
examples.forEach((example, i) => test(`example ${i + 1} of the README`, async (t) => {
  const folder = await mkdtemp(new URL('example-', root).pathname);
  t.after(() => rm(folder, { recursive: true }));
  await writeFile(`${folder}/example.mjs`, example);
  const { stdout } = await promisify(execFile)(process.execPath, [`${folder}/example.mjs`]);
  assert.equal(stdout.trim(), example.trim().split('\n').at(-1).slice(3));
}));
