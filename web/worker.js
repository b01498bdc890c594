// Measures pictures one after the other, and compares two. Of each only its score, a thumbnail and
// the file itself are kept.
import { captureTime } from './capture_time.js';
import { load } from './kelvane/kelvane.js';

const thumbnailSide = 400; // twice what the page shows, for dense screens
const largestCrop = 320;
const exifBytes = 128 * 1024;

const library = load();

onmessage = async ({ data: { id, task, ...given } }) => {
  try {
    const { result, transfer } = await tasks[task](await library, given);
    postMessage({ id, result }, transfer ?? []);
  } catch (error) {
    postMessage({ id, problem: error.message });
  } finally {
    given.picture?.close?.();
  }
};

const tasks = {
  version: async (kelvane) => ({ result: kelvane.version }),

  // A file, or a picture of a camera or video, which becomes one.
  measure: async (kelvane, { file, picture }) => {
    const source = picture ?? await decode(file);
    try {
      const luma = typeof VideoFrame !== 'undefined' && source instanceof VideoFrame
        ? await kelvane.frame(source) : kelvane.frame(pixelsOf(source));
      const blur = kelvane.blur(luma);
      luma.dispose();
      return {
        result: {
          blur,
          taken: file ? captureTime(await file.slice(0, exifBytes).arrayBuffer()) : null,
          blob: file ?? await encode(source, 1, 0.95),
          thumbnail: await encode(source, thumbnailSide / Math.max(blur.width, blur.height), 0.75),
        },
      };
    } finally {
      source.close();
    }
  },

  rank: async (kelvane, { blurs, keep }) => ({ result: kelvane.pick(blurs, { keep }) }),

  // Where the sharpness of two pictures differs most, as in the report: the second is looked at where
  // it shows the same.
  compare: async (kelvane, { first, second }) => {
    const held = [];
    try {
      for (const file of [first, second])
        held.push(await lumaOf(kelvane, file));
      return { result: largestDifference(kelvane, ...held) };
    } finally {
      held.forEach((frame) => frame.dispose());
    }
  },

  luma: async (kelvane, { file }) => { // what tests measure with the command-line tool
    const { data, width, height } = pixelsOf(await decode(file));
    const { y } = kelvane.resize({ data, width, height }, { width, height });
    return { result: { y, width, height }, transfer: [y.buffer] };
  },
};

// Colours as the file has them: the luma is not to depend on the screen.
const decode = (file) =>
  createImageBitmap(file, { imageOrientation: 'from-image', colorSpaceConversion: 'none' })
    .catch(() => { throw new Error('is no picture that this browser can read, or is damaged'); });

function canvasOf(source, scale) {
  const width = source.displayWidth ?? source.width, height = source.displayHeight ?? source.height;
  const factor = Math.min(scale, 1);
  const canvas = new OffscreenCanvas(Math.max(1, Math.round(width * factor)),
    Math.max(1, Math.round(height * factor)));
  const context = canvas.getContext('2d', { willReadFrequently: factor === 1 });
  context.imageSmoothingQuality = 'high';
  context.drawImage(source, 0, 0, canvas.width, canvas.height);
  return { canvas, context };
}

function pixelsOf(source) {
  const { canvas, context } = canvasOf(source, 1);
  const pixels = context.getImageData(0, 0, canvas.width, canvas.height);
  canvas.width = canvas.height = 0; // a phone is to have the memory back at once
  return pixels;
}

const encode = (source, scale, quality) =>
  canvasOf(source, scale).canvas.convertToBlob({ type: 'image/jpeg', quality });

async function lumaOf(kelvane, file) {
  const source = await decode(file);
  try {
    return kelvane.frame(pixelsOf(source));
  } finally {
    source.close();
  }
}

// A frame too thin for the alignment, or one of another scene, is compared at the same place.
function shiftOf(kelvane, first, second) {
  const { dx, dy } = kelvane.align(first, second);
  const far = Math.abs(dx) > first.width / 8 || Math.abs(dy) > first.height / 8;
  return far ? { dx: 0, dy: 0 } : { dx, dy };
}

function largestDifference(kelvane, first, second) {
  const sideOf = (length) => Math.min(largestCrop, length & ~3);
  const width = sideOf(first.width), height = sideOf(first.height);
  const { dx, dy } = shiftOf(kelvane, first, second);
  const step = (side) => Math.max(4, Math.floor(side / 16) * 4);
  let found = null;
  for (let top = 0; top + height <= (first.height & ~1); top += step(height))
    for (let left = 0; left + width <= (first.width & ~1); left += step(width)) {
      const here = { left, top, right: left + width, bottom: top + height };
      const there = { left: left - dx, top: top - dy, right: here.right - dx, bottom: here.bottom - dy };
      if (Math.min(there.left, there.top) < 0 || there.right > (second.width & ~1)
        || there.bottom > (second.height & ~1))
        continue;
      const scores = [kelvane.blurOfPart(first, here), kelvane.blurOfPart(second, there)];
      const difference = Math.abs(scores[0] - scores[1]);
      if (!found || difference > found.difference)
        found = { here, there, scores, difference };
    }
  return found;
}
