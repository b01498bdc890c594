// Keeps the page for when there is no network. Nothing else is ever asked for.
const files = {{files}};
const cacheName = 'kelvane-{{revision}}';

addEventListener('install', (event) => event.waitUntil(
  caches.open(cacheName).then((cache) => cache.addAll(files)).then(() => skipWaiting())));

addEventListener('activate', (event) => event.waitUntil(
  caches.keys().then((names) => Promise.all(
    names.filter((name) => name.startsWith('kelvane-') && name !== cacheName)
      .map((name) => caches.delete(name)))).then(() => clients.claim())));

addEventListener('fetch', (event) => event.respondWith(
  caches.match(event.request, { ignoreSearch: true })
    .then((found) => found ?? fetch(event.request))));
