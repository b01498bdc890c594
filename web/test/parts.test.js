// The parts of the page that need no browser.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { test } from 'node:test';

import { captureTime } from '../capture_time.js';
import { burstsOf, comparedWithMedian, termsOf } from '../ranking.js';
import { withDifferentNames } from '../saving.js';
import { zip } from '../zip.js';
import { withExif } from './pictures.js';

const jpeg = Buffer.from([0xFF, 0xD8, 0xFF, 0xDA]);
const bytesOf = (buffer) => Uint8Array.from(buffer).buffer;

test('reads capture times, and survives every truncation and any changed byte', () => {
  const picture = withExif(jpeg, { time: '2024:05:01 10:20:30' });
  const seconds = Date.UTC(2024, 4, 1, 10, 20, 30) / 1000;
  assert.equal(captureTime(bytesOf(picture)), seconds);
  for (let size = 0; size < picture.length - 2; ++size)
    captureTime(bytesOf(picture.subarray(0, size)));
  for (let i = 0; i < picture.length; ++i)
    for (const value of [0, 1, 127, 255]) {
      const changed = Buffer.from(picture);
      changed[i] = value;
      captureTime(bytesOf(changed));
    }
  assert.equal(captureTime(bytesOf(jpeg)), null);
});

test('splits by time where every frame has one, and by size', () => {
  const frame = (taken, width = 4) => ({ taken, blur: { width, height: 2 } });
  const sizes = (frames, split = true) => burstsOf(frames, split).map((burst) => burst.length);
  assert.deepEqual(sizes([frame(10), frame(1), frame(3), frame(12.5)]), [2, 1, 1]);
  assert.deepEqual(sizes([frame(10), frame(1), frame(null)]), [3]);
  assert.deepEqual(sizes([frame(10), frame(1)], false), [2]);
  assert.deepEqual(sizes([frame(1), frame(1, 6), frame(2)]), [2, 1]);
});

test('says terms and words as the tool does', () => {
  assert.deepEqual(termsOf([5000, 2500]), [
    { score: 5000, share: 9999, sharpness: 7999, objectSharpness: 11998, total: 29997 },
    { score: 2500, share: 4999, sharpness: 3999, objectSharpness: 5998, total: 19997 },
  ]);
  assert.equal(comparedWithMedian([7], 0), 'the only frame');
  assert.equal(comparedWithMedian([0, 0], 0), 'as flat as the median frame');
  assert.equal(comparedWithMedian([100, 100, 150], 2), '50 % sharper than the median frame');
});

test('makes zip files that other programs open, under names that are free', async () => {
  const files = withDifferentNames(['ä.txt', 'ä.txt', 'a/b'].map((name, i) =>
    ({ name, blob: new Blob([`content ${i}`]) })));
  assert.deepEqual(files.map(({ name }) => name), ['ä.txt', 'ä-2.txt', 'a_b']);
  const folder = mkdtempSync(`${tmpdir()}/zip-`);
  try {
    writeFileSync(`${folder}/kept.zip`, Buffer.from(await (await zip(files)).arrayBuffer()));
    const script = 'import sys, zipfile\nz = zipfile.ZipFile(sys.argv[1])\nassert z.testzip() is None\n'
      + 'print([(n, z.read(n).decode()) for n in z.namelist()])';
    const listed = execFileSync('python3', ['-X', 'utf8', '-c', script, `${folder}/kept.zip`], { encoding: 'utf8' });
    assert.equal(listed.trim(), "[('ä.txt', 'content 0'), ('ä-2.txt', 'content 1'), ('a_b', 'content 2')]");
  } finally {
    rmSync(folder, { recursive: true });
  }
});
