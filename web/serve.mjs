// Serves a folder on 127.0.0.1 with the headers that docs/web.md names: node web/serve.mjs FOLDER [PORT]
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join, normalize } from 'node:path';
import { pathToFileURL } from 'node:url';

import { policy } from './policy.mjs';

const types = {
  '.html': 'text/html; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.wasm': 'application/wasm',
};
const headers = {
  'Content-Security-Policy': policy.header,
  'X-Content-Type-Options': 'nosniff',
  'Referrer-Policy': 'no-referrer',
  'Permissions-Policy': 'camera=(self)',
  'Cross-Origin-Opener-Policy': 'same-origin',
  'Cache-Control': 'no-cache',
};

/** Gives the listening server. */
export function serve(folder, port) {
  const server = createServer(async (request, response) => {
    try {
      const path = normalize(decodeURIComponent(new URL(request.url, 'http://local').pathname));
      const file = join(folder, path.endsWith('/') ? `${path}index.html` : path);
      const bytes = await readFile(file);
      response.writeHead(200, { ...headers, 'Content-Type': types[extname(file)] ?? 'application/octet-stream' });
      response.end(bytes);
    } catch {
      response.writeHead(404, headers).end();
    }
  });
  return new Promise((resolve, reject) => {
    server.on('error', reject);
    server.listen(port, '127.0.0.1', () => resolve(server));
  });
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) {
  const server = await serve(process.argv[2], Number(process.argv[3] ?? 8000));
  console.log(`the page is at http://127.0.0.1:${server.address().port}/ until this is stopped`);
}
