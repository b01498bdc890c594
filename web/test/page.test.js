// The page in headless Chromium: build/page, beside the command-line tool. Environment: CHROMIUM,
// KELVANE_TOOL, RECORDINGS and PAGE, as ./dev web sets them.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { after, before, test } from 'node:test';

import puppeteer from 'puppeteer-core';

import { serve } from '../serve.mjs';
import { bmp, withExif } from './pictures.js';

const { CHROMIUM, KELVANE_TOOL, RECORDINGS, PAGE } = process.env;
const axe = createRequire(import.meta.url).resolve('axe-core/axe.min.js');
const folder = mkdtempSync(`${tmpdir()}/page-`);
const shots = `${PAGE}/../page-screenshots`;
const photographs = readdirSync(RECORDINGS).filter((name) => /^left\d+\.jpg$/.test(name)).sort()
  .map((name) => `${RECORDINGS}/${name}`);

let server, browser, page, address;
const strangers = [], faults = [];

before(async () => {
  mkdirSync(shots, { recursive: true });
  server = await serve(PAGE, 0);
  address = `http://127.0.0.1:${server.address().port}/`;
  browser = await puppeteer.launch({
    executablePath: CHROMIUM,
    args: ['--no-sandbox', '--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream'],
  });
  page = await browser.newPage();
  page.setDefaultTimeout(60000);
  page.on('request', (request) => /^(http:\/\/127|blob:|data:)/.test(request.url()) || strangers.push(request.url()));
  page.on('pageerror', (error) => faults.push(error.message));
  page.on('console', (message) => message.type() === 'error' && faults.push(message.text()));
  await page.goto(address);
});
after(async () => {
  await browser?.close();
  server?.closeAllConnections();
  server?.close();
  rmSync(folder, { recursive: true });
});

const text = (selector) => page.$eval(selector, (element) => element.textContent);
const done = () => page.waitForFunction(() => /kept\.|nothing to rank/.test(document.getElementById('status').textContent));
async function choose(files) {
  await page.$eval('#status', (element) => { element.textContent = ''; });
  await (await page.$('#files')).uploadFile(...files);
  await done();
}
async function drop(files) {
  await page.$eval('#status', (element) => { element.textContent = ''; });
  const session = await page.createCDPSession();
  const data = { items: [], files, dragOperationsMask: 1 };
  for (const type of ['dragEnter', 'dragOver', 'drop'])
    await session.send('Input.dispatchDragEvent', { type, x: 200, y: 200, data });
  await done();
}
const written = (name, bytes) => {
  writeFileSync(`${folder}/${name}`, bytes);
  return `${folder}/${name}`;
};
const checkAccess = async (what) => {
  await page.evaluate(readFileSync(axe, 'utf8')); // which the page's policy does not concern
  const { violations } = await page.evaluate(() => axe.run({
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa'],
  }));
  assert.deepEqual(violations.map(({ id, nodes }) => `${id}: ${nodes[0].html}`), [], what);
};

test('ranks the demo’s photographs like the tool, on the same luma', async () => {
  await choose(photographs);
  const shown = await page.$$eval('.frame', (cards) => cards.map((card) => ({
    name: card.querySelector('.name').textContent,
    score: Number(card.querySelector('.quiet span').textContent.replaceAll(',', '')),
  })));
  assert.equal(shown.length, photographs.length);
  const best = await text('.frame.best .name');
  const ofTool = (files) => JSON.parse(execFileSync(KELVANE_TOOL, ['pick', '--json', ...files])).frames;
  const bestOf = (frames) => frames.findIndex((frame) => frame.best);
  assert.equal(shown[bestOf(ofTool(photographs))].name, best);

  const lumas = await Promise.all(photographs.map(async (path, i) => {
    const bytes = [...readFileSync(path)];
    const { width, height, y } = await page.evaluate(async (given) => {
      const { WorkerCalls } = await import('./worker_calls.js');
      const calls = new WorkerCalls();
      const luma = await calls.call('luma', { file: new Blob([Uint8Array.from(given)]) });
      calls.close();
      return { ...luma, y: btoa(Array.from(luma.y, (value) => String.fromCharCode(value)).join('')) };
    }, bytes);
    return written(`luma-${String(i).padStart(2, '0')}.pgm`,
      Buffer.concat([Buffer.from(`P5\n${width} ${height}\n255\n`), Buffer.from(y, 'base64')]));
  }));
  const ranked = ofTool(lumas);
  assert.deepEqual(ranked.map(({ blur }) => blur), shown.map(({ score }) => score));
  assert.equal(shown[bestOf(ranked)].name, best);
});

test('shows best and second where they differ, moved and enlarged together by keys', async () => {
  await page.waitForSelector('.view img');
  const places = () => page.$$eval('.view img', (images) => images.map((image) => image.style.transform));
  const before = await places();
  await page.focus('.view');
  await page.keyboard.press('+');
  await page.keyboard.press('ArrowLeft');
  const moved = await places();
  assert.equal(moved.length, 2);
  moved.forEach((place, i) => assert.notEqual(place, before[i]));
  assert.match(moved[0], /scale\(1\.25\)/);
  await page.keyboard.press('1');
  assert.deepEqual(await places(), before);
});

test('is accessible and fits, light and dark, from a phone to a desktop', async () => {
  for (const scheme of ['light', 'dark'])
    for (const width of [320, 390, 1280]) {
      await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
      await page.setViewport({ width, height: 844 });
      const overflow = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
      assert.ok(overflow <= 0, `${overflow} pixels too wide at ${width}`);
      await page.screenshot({ path: `${shots}/${scheme}-${width}.png`, fullPage: true });
      if (width !== 390)
        await checkAccess(`${scheme} at ${width}`);
    }
});

test('takes dropped files: good, damaged, of other sizes, turned, and from another moment', async () => {
  const bytes = readFileSync(photographs[0]);
  await drop([
    written('a-good.jpg', withExif(bytes, { time: '2024:05:01 10:00:00' })),
    written('b-good.jpg', withExif(readFileSync(photographs[1]), { time: '2024:05:01 10:00:01' })),
    written('c-turned.jpg', withExif(bytes, { time: '2024:05:01 10:00:01', orientation: 6 })),
    written('d-later.jpg', withExif(bytes, { time: '2024:05:01 12:00:00' })),
    written('e-damaged.jpg', Buffer.from(bytes.subarray(300))),
    written('f-empty.jpg', Buffer.alloc(0)),
  ]);
  assert.match(await text('#status'), /3 bursts, 4 frames, 3 kept/);
  const problems = await text('#problems');
  assert.match(problems, /e-damaged\.jpg: is no picture/);
  assert.match(problems, /f-empty\.jpg/);
  const bursts = await page.$$eval('.burst', (sections) => sections.map((section) => section.querySelectorAll('.frame').length));
  assert.deepEqual(bursts, [2, 1, 1]);
  assert.equal(await page.$eval('#burst-2 .large img', (image) => image.naturalWidth < image.naturalHeight), true);
  assert.match(await text('#burst-3-title'), /2024-05-01 12:00:00/);
  await page.screenshot({ path: `${shots}/bursts-1280.png`, fullPage: true });
  await page.click('#split'); // not by time: only by size
  await done();
  await page.waitForFunction(() => document.querySelectorAll('.burst').length === 2);
  await page.click('#split');
  await choose([written('tiny.bmp', bmp(1, 1))]);
  assert.match(await text('#problems'), /tiny\.bmp: image: is smaller than 2 x 2/);
});

test('takes a burst from the camera', async () => {
  await page.$eval('#status', (element) => { element.textContent = ''; });
  await page.click('#take-burst');
  await done();
  assert.match(await text('#status'), /1 burst, 20 frames, 1 kept/);
});

test('takes a video, frame by frame', async () => {
  const video = `${folder}/moving.webm`;
  execFileSync('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'testsrc=size=320x240:rate=10:duration=1',
    '-c:v', 'libvpx', video]);
  await choose([video, written('damaged.webm', Buffer.alloc(500, 1))]);
  assert.match(await text('#status'), /1 burst, 10 frames, 1 kept/);
  assert.match(await text('#problems'), /damaged\.webm: is no video/);
  assert.match(await text('.frame .name'), /^moving\.webm-0\.05s\.jpg$/);
});

test('cancels', async () => {
  await (await page.$('#files')).uploadFile(...Array(3).fill(photographs).flat());
  await page.waitForFunction(() => !document.getElementById('progress').hidden);
  await page.click('#cancel');
  await page.waitForFunction(() => document.getElementById('status').textContent === 'Cancelled.');
  assert.equal(await page.$eval('#progress', (element) => element.hidden), true);
  await choose(photographs.slice(0, 2));
  assert.match(await text('#status'), /2 frames/);
});

test('works after the network is gone, and asked nobody else', async () => {
  await page.evaluate(() => navigator.serviceWorker.ready);
  server.closeAllConnections();
  await new Promise((resolve) => server.close(resolve));
  await page.reload();
  await choose(photographs.slice(0, 3));
  assert.match(await text('#status'), /3 frames/);
  assert.deepEqual(strangers, []);
  assert.deepEqual(faults, []);
});
