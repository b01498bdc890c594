// What the page may load: its own files, and pictures that it has made itself.
const rules = [
  "default-src 'none'",
  "script-src 'self' 'wasm-unsafe-eval'",
  "style-src 'self'",
  "img-src 'self' blob: data:",
  'media-src blob:',
  "worker-src 'self'",
  "connect-src 'self'",
  "base-uri 'none'",
  "form-action 'none'",
];

export const policy = {
  meta: rules.join('; '),
  // The meta element cannot say this one.
  header: [...rules, "frame-ancestors 'none'"].join('; '),
};
