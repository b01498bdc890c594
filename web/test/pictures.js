// Pictures for the tests.

/** The JPEG picture with Exif data: DateTimeOriginal and an orientation. */
export function withExif(jpeg, { time, orientation = 1 }) {
  const tiff = Buffer.alloc(8 + 30 + 18 + 20);
  tiff.write('II*\0', 'latin1');
  tiff.writeUInt32LE(8, 4);
  const entry = (at, tag, type, count, value) => {
    tiff.writeUInt16LE(tag, at);
    tiff.writeUInt16LE(type, at + 2);
    tiff.writeUInt32LE(count, at + 4);
    tiff.writeUInt32LE(value, at + 8);
  };
  tiff.writeUInt16LE(2, 8);
  entry(10, 0x0112, 3, 1, orientation);
  entry(22, 0x8769, 4, 1, 38);
  tiff.writeUInt16LE(1, 38);
  entry(40, 0x9003, 2, 20, 56);
  tiff.write(`${time}\0`, 56, 'latin1');
  const head = Buffer.from([0xFF, 0xD8, 0xFF, 0xE1, 0, 0, 0x45, 0x78, 0x69, 0x66, 0, 0]);
  head.writeUInt16BE(8 + tiff.length, 4);
  return Buffer.concat([head, tiff, jpeg.subarray(2)]);
}

/** A grey BMP picture. */
export function bmp(width, height) {
  const row = (3 * width + 3) & ~3;
  const bytes = Buffer.alloc(54 + row * height, 128);
  bytes.fill(0, 0, 54).write('BM', 'latin1');
  [[2, bytes.length], [10, 54], [14, 40], [18, width], [22, height], [34, row * height]]
    .forEach(([at, value]) => bytes.writeUInt32LE(value, at));
  bytes.writeUInt16LE(1, 26);
  bytes.writeUInt16LE(24, 28);
  return bytes;
}
