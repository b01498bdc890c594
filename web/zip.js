// A zip file of stored files, since photographs do not become smaller: APPNOTE 6.3.3, with UTF-8 names.

const table = Uint32Array.from({ length: 256 }, (_, byte) => {
  for (let bit = 0; bit < 8; ++bit)
    byte = byte & 1 ? byte >>> 1 ^ 0xEDB88320 : byte >>> 1;
  return byte;
});

function crc32(bytes) {
  let crc = 0xFFFFFFFF;
  for (const byte of bytes)
    crc = table[(crc ^ byte) & 255] ^ crc >>> 8;
  return ~crc >>> 0;
}

// What local and central headers share, from the version to the length of the extra field.
function header(name, size, crc) {
  const view = new DataView(new ArrayBuffer(26));
  view.setUint16(0, 20, true);
  view.setUint16(2, 0x0800, true); // names in UTF-8
  view.setUint16(8, 0x21, true); // 1980-01-01, the first day there is
  [crc, size, size].forEach((value, i) => view.setUint32(10 + 4 * i, value, true));
  view.setUint16(22, name.length, true);
  return view;
}

const signature = (...bytes) => Uint8Array.of(0x50, 0x4B, ...bytes);

/** A Blob of the files, an array of `{ name, blob }` with different names, below 4 GiB together. */
export async function zip(files) {
  const parts = [], central = [];
  let offset = 0;
  for (const { name, blob } of files) {
    const encoded = new TextEncoder().encode(name);
    const shared = header(encoded, blob.size, crc32(new Uint8Array(await blob.arrayBuffer())));
    parts.push(signature(3, 4), shared, encoded, blob);
    const rest = new DataView(new ArrayBuffer(14)); // comment, disk, attributes, offset
    rest.setUint32(10, offset, true);
    central.push(signature(1, 2, 20, 0), shared, rest, encoded);
    offset += 30 + encoded.length + blob.size;
  }
  if (offset >= 0xFFFFFFFF || files.length > 65535)
    throw new RangeError('the photographs are too large for one zip file; keep fewer');
  const directory = new Blob(central);
  const end = new DataView(new ArrayBuffer(18));
  [files.length, files.length].forEach((count, i) => end.setUint16(4 + 2 * i, count, true));
  end.setUint32(8, directory.size, true);
  end.setUint32(12, offset, true);
  return new Blob([...parts, directory, signature(5, 6), end], { type: 'application/zip' });
}
