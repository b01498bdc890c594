// The terms of the ranking and the words about it, as the report of the command-line tool has them.

export const constantTerm = 10000;

// Products are of single precision and conversions truncate, as in the library.
const product = (factor, share) => Math.trunc(Math.fround(Math.fround(factor) * Math.fround(share)));

/** What each frame of a burst has from its blur score, when there are neither faces nor movement. */
export function termsOf(scores) {
  const largest = Math.max(...scores) + 0.0001;
  return scores.map((score) => {
    const share = Math.trunc(Math.fround(score) / largest * 10000);
    const sharpness = product(0.8, share), objectSharpness = product(1.2, share);
    const total = Math.trunc(Math.fround(sharpness + objectSharpness + constantTerm));
    return { score, share, sharpness, objectSharpness, total };
  });
}

/** Frames by score, the sharpest first; of equal ones the earlier one. */
export function orderOf(scores) {
  return scores.map((_, i) => i).sort((a, b) => scores[b] - scores[a] || a - b);
}

/** The best frame in words, beside the median of its burst. */
export function comparedWithMedian(scores, best) {
  if (scores.length === 1)
    return 'the only frame';
  const sorted = orderOf(scores).map((i) => scores[i]);
  const median = (sorted[(sorted.length - 1) >> 1] + sorted[sorted.length >> 1]) / 2;
  if (median === 0)
    return scores[best] === 0 ? 'as flat as the median frame' : 'while the median frame is flat';
  const percent = (scores[best] / median - 1) * 100;
  const amount = Math.abs(percent).toFixed(Math.abs(percent) < 1 ? 1 : 0);
  if (amount === '0.0')
    return 'as sharp as the median frame';
  return `${amount} % ${percent > 0 ? 'sharper' : 'less sharp'} than the median frame`;
}

/**
 * Splits frames into bursts: one for each size, and where every frame has a capture time, one for each
 * run of frames of which none was taken more than `gap` seconds after the one before.
 */
export function burstsOf(frames, split, gap = 2) {
  const timed = split && frames.every((frame) => frame.taken !== null);
  const order = timed ? [...frames].sort((a, b) => a.taken - b.taken) : frames;
  const runs = [];
  order.forEach((frame, i) => {
    if (i === 0 || (timed && frame.taken - order[i - 1].taken > gap + 1e-6))
      runs.push(new Map());
    const sizes = runs.at(-1), size = `${frame.blur.width} × ${frame.blur.height}`;
    sizes.set(size, [...(sizes.get(size) ?? []), frame]);
  });
  return runs.flatMap((sizes) => [...sizes.values()]);
}
