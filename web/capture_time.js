// When a JPEG picture was taken: DateTimeOriginal, or else DateTimeDigitized, with its fraction of a
// second, of the Exif data (Exif 2.31), in seconds of the camera's clock.

const exifDirectory = 0x8769;
const digits = /^(\d{4}):(\d\d):(\d\d) (\d\d):(\d\d):(\d\d)/;
const tags = [
  { date: 0x9003, fraction: 0x9291 },
  { date: 0x9004, fraction: 0x9292 },
];

/** Reads the first bytes of a picture; null when they tell no time. */
export function captureTime(bytes) {
  try {
    const tiff = exifData(new DataView(bytes));
    return tiff && timeIn(tiff);
  } catch (error) {
    if (error instanceof RangeError) // data that ends too early
      return null;
    throw error;
  }
}

// The TIFF structure in the APP1 segment.
function exifData(view) {
  if (view.getUint16(0) !== 0xFFD8)
    return null;
  for (let at = 2; view.getUint8(at) === 0xFF && view.getUint8(at + 1) !== 0xDA;) {
    const size = view.getUint16(at + 2);
    if (view.getUint16(at) === 0xFFE1 && view.getUint32(at + 4) === 0x45786966)
      return new DataView(view.buffer, at + 10, size - 8);
    at += 2 + size;
  }
  return null;
}

function timeIn(tiff) {
  const little = tiff.getUint16(0) === 0x4949;
  const main = directory(tiff, tiff.getUint32(4, little), little);
  const exif = main.get(exifDirectory);
  if (!exif)
    return null;
  const entries = directory(tiff, tiff.getUint32(exif.at, little), little);
  for (const { date, fraction } of tags) {
    const match = digits.exec(text(tiff, entries.get(date), little));
    if (match) {
      const [year, month, day, hour, minute, second] = match.slice(1).map(Number);
      const part = Number(`0.${/^\d*/.exec(text(tiff, entries.get(fraction), little))[0]}`);
      return Date.UTC(year, month - 1, day, hour, minute, second) / 1000 + (part || 0);
    }
  }
  return null;
}

// Entries by tag, with their count and where their value field is.
function directory(tiff, start, little) {
  const entries = new Map();
  const count = tiff.getUint16(start, little);
  for (let at = start + 2; at < start + 2 + 12 * count; at += 12)
    entries.set(tiff.getUint16(at, little), { count: tiff.getUint32(at + 4, little), at: at + 8 });
  return entries;
}

function text(tiff, entry, little) {
  if (!entry)
    return '';
  const at = entry.count > 4 ? tiff.getUint32(entry.at, little) : entry.at;
  let result = '';
  for (let i = 0; i < Math.min(entry.count, 40); ++i)
    result += String.fromCharCode(tiff.getUint8(at + i));
  return result;
}
