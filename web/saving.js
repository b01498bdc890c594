// Files on the device: in a folder where the browser lets choose one, otherwise as one download.
import { element } from './element.js';
import { zip } from './zip.js';

function download(name, blob) {
  const url = URL.createObjectURL(blob);
  element('a', { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

// Of equal names the later ones get a number.
export function withDifferentNames(files) {
  const taken = new Set();
  return files.map(({ name, blob }) => {
    const [, stem, extension] = /^(.*?)(\.[^.]*)?$/s.exec(name.replace(/[\\/:*?"<>|\0-\x1f]/g, '_'));
    let free = stem + (extension ?? '');
    for (let i = 2; taken.has(free.toLowerCase()); ++i)
      free = `${stem}-${i}${extension ?? ''}`;
    taken.add(free.toLowerCase());
    return { name: free, blob };
  });
}

async function writeInto(folder, { name, blob }) {
  if (await folder.getFileHandle(name).catch(() => null))
    throw new Error(`${name} is in ${folder.name} already: choose an empty folder`);
  const file = await folder.getFileHandle(name, { create: true });
  const stream = await file.createWritable();
  await stream.write(blob);
  await stream.close();
}

/** Gives what happened, in words. */
export async function saveFiles(given) {
  const files = withDifferentNames(given);
  if (typeof showDirectoryPicker === 'function') {
    const folder = await showDirectoryPicker({ mode: 'readwrite' });
    for (const file of files)
      await writeInto(folder, file);
    return `Saved ${files.length} in ${folder.name}.`;
  }
  if (files.length === 1)
    download(files[0].name, files[0].blob);
  else
    download('kept.zip', await zip(files));
  return `Downloaded ${files.length}.`;
}

export function saveList(names) {
  download('kept.txt', new Blob([names.map((name) => `${name}\n`).join('')], { type: 'text/plain' }));
}
