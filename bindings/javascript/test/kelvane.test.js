import assert from 'node:assert/strict';
import { test } from 'node:test';

import { load } from '../src/kelvane.js';

const width = 320, height = 240;

// A texture, the same for everyone (xorshift: Marsaglia, 2003), seen from (dx, dy), and blurred by
// means of so many neighbours.
const texture = (() => {
  const values = new Uint8Array(1 << 19);
  let state = 2463534242;
  return values.map(() => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    return state & 255;
  });
})();
function view(dx = 0, dy = 0, blur = 4) {
  const y = new Uint8Array(width * height);
  for (let i = 0; i < y.length; ++i) {
    const u = i % width + dx + 20, v = Math.floor(i / width) + dy + 20;
    let sum = 0;
    for (let k = 0; k < blur * blur; ++k)
      sum += texture[(v + Math.floor(k / blur)) * 512 + u + k % blur];
    y[i] = sum / (blur * blur);
  }
  return { y, width, height };
}
const grey = ({ y }) => {
  const data = new Uint8ClampedArray(4 * y.length).fill(255);
  y.forEach((value, i) => data.fill(value, 4 * i, 4 * i + 3));
  return { data, width, height };
};

for (const vectors of [true, false]) {
  const kelvane = await load({ vectors, memory: 16 << 20 });
  const name = vectors ? 'with vectors' : 'without vectors';

  test(`${name}: measures planes, padded planes, pixels and frames alike`, () => {
    const plane = view();
    const padded = new Uint8Array(height * 333).fill(7);
    for (let row = 0; row < height; ++row)
      padded.set(plane.y.subarray(row * width, (row + 1) * width), row * 333);
    using(kelvane.frame(plane), (frame) => {
      const blur = kelvane.blur(plane);
      assert.ok(blur.score > 0);
      for (const image of [{ y: padded, width, height, stride: 333 }, grey(plane), frame])
        assert.deepEqual(kelvane.blur(image), blur);
    });
    assert.equal(kelvane.blur({ y: new Uint8Array(width * height), width, height }).score, 0);
  });

  test(`${name}: picks the sharpest frame, from images and from their scores`, () => {
    const burst = [5, 4, 3, 6, 5].map((blur) => view(0, 0, blur));
    const choice = kelvane.pick(burst, { keep: 2 });
    assert.equal(choice.best, 2);
    assert.equal(choice.kept.length, 2);
    assert.ok(choice.kept.includes(2));
    assert.deepEqual(kelvane.pick(burst.map((frame) => kelvane.blur(frame)), { keep: 2 }), choice);
    const rect = { left: 10, top: 10, right: 60, bottom: 60 };
    const faces = burst.map((_, i) => [{ rect, eyes: i === 2 ? 'closed' : 'open' }]);
    assert.notEqual(kelvane.pick(burst, { faces }).best, 2);
    assert.deepEqual(kelvane.pick(burst, { keep: 9 }).kept, [0, 1, 2, 3, 4]);
  });

  test(`${name}: finds shifts, changes and sizes`, () => {
    const first = view(), second = view(5, -3);
    assert.deepEqual(kelvane.align(first, second), { dx: 5, dy: -3 });
    const changed = view(5, -3);
    for (let row = 60; row < 120; ++row)
      changed.y.fill(255, row * width + 100, row * width + 180);
    const { rect, ratio, dx, dy } = kelvane.changes(first, changed);
    assert.deepEqual({ dx, dy }, { dx: 5, dy: -3 });
    assert.ok(rect.left > 80 && rect.right < 200 && rect.top > 40 && rect.bottom < 140);
    assert.ok(ratio > 0.03 && ratio < 0.12, `${ratio}`);
    const same = kelvane.changes(first, first);
    assert.deepEqual(same, { rect: null, ratio: 0, dx: 0, dy: 0 });
    const half = kelvane.resize(first, { width: width / 2, height: height / 2 });
    assert.deepEqual([half.width, half.height, half.stride], [160, 120, 160]);
    assert.equal(half.y[161], first.y[2 * width + 2]);
  });

  test(`${name}: the luma of pixels is that of BT.601, rounded`, () => {
    const data = texture.slice(0, 4 * width * height);
    const { y } = kelvane.resize({ data, width, height }, { width, height });
    for (let i = 0; i < y.length; ++i) {
      const exact = 0.299 * data[4 * i] + 0.587 * data[4 * i + 1] + 0.114 * data[4 * i + 2];
      assert.ok(Math.abs(y[i] - exact) < 0.502, `${i}`);
    }
  });

  test(`${name}: names the argument at fault`, () => {
    const plane = view();
    const cases = [
      [() => kelvane.blur({ y: plane.y.subarray(1), width, height }), /^image\.y: has 76799 bytes/],
      [() => kelvane.blur({ ...plane, stride: 319 }), /^image\.stride: 319 /],
      [() => kelvane.blur({ ...plane, width: 1.5 }), /^image\.width: /],
      [() => kelvane.blur('photo.jpg'), /^image: is no ImageData/],
      [() => kelvane.blur({ y: new Uint8Array(1), width: 1, height: 1 }), /^image: is smaller/],
      [() => kelvane.align(plane, null), /^second: /],
      [() => kelvane.align(plane, { ...plane, height: 120 }), /^second: has 320 x 120/],
      [() => kelvane.pick([]), /^frames: /],
      [() => kelvane.pick([plane], { keep: 0 }), /^keep: 0/],
      [() => kelvane.pick([plane], { faces: [[{ rect: { left: 0, top: 0, right: 999, bottom: 9 } }]] }),
        /^faces: frame 0/],
      [() => kelvane.resize(plane, { width: 0, height: 5 }), /^width: 0/],
      [() => kelvane.resize(plane, { width: 60000, height: 60000 }), /^memory: /],
      [() => kelvane.blurOfPart(plane, { left: 0, top: 0, right: 321, bottom: 8 }), /^part: /],
    ];
    for (const [call, message] of cases)
      assert.throws(call, (error) => message.test(error.message), `${message}`);
    assert.equal(kelvane.blur(plane).score, kelvane.blur(view()).score);
  });

  test(`${name}: releases what calls and frames held`, async () => {
    const plane = view();
    for (let i = 0; i < 500; ++i)
      using(kelvane.frame(plane), (frame) => kelvane.align(frame, plane));
    const frame = kelvane.frame(plane);
    frame.dispose();
    frame.dispose();
    assert.throws(() => kelvane.blur(frame), /disposed of/);
    for (let round = 0; round < 10; ++round) { // more than the memory holds: the net must catch them
      for (let i = 0; i < 60; ++i)
        kelvane.frame(plane);
      globalThis.gc();
      await new Promise((resolve) => setTimeout(resolve, 5));
    }
  });

  test(`${name}: takes the luma of video frames as it is`, async (t) => {
    const plane = view();
    globalThis.VideoFrame = class {
      format = 'NV12';
      visibleRect = { x: 0, y: 0, width, height };
      allocationSize() { return 340 * height * 3 / 2; }
      async copyTo(bytes) {
        for (let row = 0; row < height; ++row)
          bytes.set(plane.y.subarray(row * width, (row + 1) * width), row * 340);
        return [{ offset: 0, stride: 340 }, { offset: 340 * height, stride: 340 }];
      }
    };
    t.after(() => delete globalThis.VideoFrame);
    const video = new VideoFrame();
    assert.deepEqual(await kelvane.blur(video), kelvane.blur(plane));
    assert.equal((await kelvane.pick([view(0, 0, 6), video])).best, 1);
    assert.deepEqual(await kelvane.align(plane, video), { dx: 0, dy: 0 });
  });
}

function using(resource, work) {
  try {
    return work(resource);
  } finally {
    resource[Symbol.dispose]();
  }
}

test('refuses memory that is no memory', async () => {
  await assert.rejects(load({ memory: 5 }), /^RangeError: memory: 5/);
});
