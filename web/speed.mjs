// Prints how long the package's operations take natively, under Node and in Chromium: a Markdown table of
// milliseconds. node web/speed.mjs NATIVE_PROGRAM, with CHROMIUM as for the tests.
import { execFileSync } from 'node:child_process';

import puppeteer from 'puppeteer-core';

import { load } from '../build/npm/src/kelvane.js';
import { serve } from './serve.mjs';
import { times } from './speed.js';

const native = Object.fromEntries(execFileSync(process.argv[2], { encoding: 'utf8' }).trim().split('\n')
  .map((line) => line.split(' ')));
const columns = [native, await times(load, { vectors: true })];

const server = await serve(new URL('..', import.meta.url).pathname, 0);
const browser = await puppeteer.launch({ executablePath: process.env.CHROMIUM, args: ['--no-sandbox'] });
const page = await browser.newPage();
await page.goto(`http://127.0.0.1:${server.address().port}/build/page/`);
columns.push(await page.evaluate(async () => {
  const { load } = await import('/build/npm/src/kelvane.js');
  const { times } = await import('/web/speed.js');
  return times(load, { vectors: true });
}));
await browser.close();
server.closeAllConnections();
server.close();
columns.push(await times(load, { vectors: false }));

console.log('| Operation | native | Node | Chromium | Node, no vectors |\n|---|---:|---:|---:|---:|');
for (const name of Object.keys(native))
  console.log(`| \`${name}\` | ${columns.map((column) => Number(column[name]).toFixed(2)).join(' | ')} |`);
