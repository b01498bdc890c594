// The library for web pages, workers and Node: images in, plain numbers out. See kelvane.d.ts for
// what each function takes and gives, and layer.cpp for the other side.

const defaultMemory = 256 << 20;
const pageSize = 65536;
const mostMemory = 0xFFFF0000;
const largestSide = 65535;
const smallestSideForChanges = 100;
const facesPerFrame = 10;
const outOfMemory = 4;

Symbol.dispose ??= Symbol.for('Symbol.dispose');

// A module with one instruction on 128-bit vectors, which older engines do not accept.
const vectorProbe = Uint8Array.of(
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15,
  253, 98, 11);

const has = {
  videoFrame: (image) => typeof VideoFrame !== 'undefined' && image instanceof VideoFrame,
  pixels: (image) => image?.data instanceof Uint8ClampedArray || image?.data instanceof Uint8Array,
};

function check(holds, argument, problem, Problem = RangeError) {
  if (!holds)
    throw new Problem(`${argument}: ${problem}`);
}

function checkSide(value, argument) {
  check(Number.isInteger(value) && value >= 1 && value <= largestSide, argument,
    `${value} is no whole number from 1 to ${largestSide}`);
}

async function bytesOf(source) {
  if (source.protocol !== 'file:')
    return (await fetch(source)).arrayBuffer();
  const { readFile } = await import('node:fs/promises');
  return readFile(source);
}

/** Loads the library; see kelvane.d.ts. */
export async function load({ memory = defaultMemory, vectors, module } = {}) {
  check(Number.isInteger(memory) && memory >= 1 << 20 && memory <= mostMemory, 'memory',
    `${memory} is no whole number of bytes from ${1 << 20} to ${mostMemory}`);
  const usesVectors = vectors ?? WebAssembly.validate(vectorProbe);
  const source = module ?? (usesVectors ? new URL('./kelvane.wasm', import.meta.url)
    : new URL('./kelvane-scalar.wasm', import.meta.url));
  const compiled = source instanceof WebAssembly.Module ? source
    : await WebAssembly.compile(source instanceof URL ? await bytesOf(source) : source);
  const instance = await WebAssembly.instantiate(compiled, {});
  return new Kelvane(instance.exports, memory);
}

/** The luma of one image, in the memory of the library until it is disposed of. */
class Frame {
  #held;

  constructor(held, width, height) {
    this.#held = held;
    this.width = width;
    this.height = height;
    Object.freeze(this);
  }

  get address() {
    check(this.#held.address !== 0, 'frame', 'is disposed of', TypeError);
    return this.#held.address;
  }

  belongsTo(code) {
    return this.#held.code === code;
  }

  dispose() {
    releaseHeld(this.#held);
  }

  [Symbol.dispose]() {
    this.dispose();
  }
}

function releaseHeld(held) {
  if (held.address !== 0)
    held.code.release(held.address);
  held.address = 0;
}

// For frames that nobody disposed of.
const forgotten = new FinalizationRegistry(releaseHeld);

class Kelvane {
  #code;
  #bytes;
  #results;

  constructor(code, memory) {
    code._initialize();
    code.memory.grow(Math.ceil(memory / pageSize));
    if (!code.open())
      throw new RangeError('memory: too little');
    this.#code = code;
    // The memory does not grow any more, so these stay valid.
    this.#bytes = new Uint8Array(code.memory.buffer);
    this.#results = new Int32Array(code.memory.buffer, code.results(), 8);
    this.version = this.#text(code.version());
    Object.freeze(this);
  }

  frame(image) {
    if (has.videoFrame(image))
      return this.#videoFrame(image);
    if (has.pixels(image))
      return this.#fromPixels(image);
    return this.#fromPlane(image);
  }

  blur(image) {
    return this.#with({ image }, (frame) => this.#blurOf(frame));
  }

  blurOfPart(image, { left, top, right, bottom }) {
    return this.#with({ image }, (frame) => {
      const { address, width, height } = frame;
      check([left, top, right, bottom].every(Number.isInteger) && 0 <= left && left < right
        && right <= (width & ~1) && 0 <= top && top < bottom && bottom <= (height & ~1), 'part',
      `${[left, top, right, bottom]} is not inside the frame of ${width} x ${height}`);
      this.#call('image', this.#code.blurOfPart(address, width, height, left, top, right, bottom));
      return this.#results[0];
    });
  }

  pick(frames, { keep = 1, faces } = {}) {
    check(Array.isArray(frames) && frames.length > 0, 'frames', 'is no array of frames', TypeError);
    check(Number.isInteger(keep) && keep >= 1, 'keep', `${keep} is no whole number above 0`);
    if (frames.some(has.videoFrame))
      return Promise.all(frames.map((frame) => this.#measured(frame)))
        .then((blurs) => this.#rank(blurs, keep, faces));
    return this.#rank(frames.map((frame) => this.#measured(frame)), keep, faces);
  }

  align(first, second) {
    return this.#with({ first, second }, (before, after) => {
      this.#checkPair(before, after);
      const { width, height } = before;
      this.#call('second', this.#code.align(before.address, after.address, width, height));
      return { dx: this.#results[0], dy: this.#results[1] };
    });
  }

  changes(first, second) {
    return this.#with({ first, second }, (before, after) => {
      this.#checkPair(before, after);
      const { width, height } = before;
      check(Math.min(width, height) >= smallestSideForChanges, 'first',
        `its shorter side is below ${smallestSideForChanges}`);
      return this.#withBlock(4, (ratio) => {
        this.#call('second', this.#code.changes(before.address, after.address, width, height, ratio));
        const [left, top, right, bottom, dx, dy] = this.#results;
        return {
          rect: right > left ? { left, top, right, bottom } : null,
          ratio: new DataView(this.#bytes.buffer).getFloat32(ratio, true),
          dx,
          dy,
        };
      });
    });
  }

  resize(image, { width, height }) {
    checkSide(width, 'width');
    checkSide(height, 'height');
    return this.#with({ image }, (frame) => this.#withBlock(width * height, (resized) => {
      this.#call('image', this.#code.resize(frame.address, frame.width, frame.height, resized, width,
        height));
      return { y: this.#bytes.slice(resized, resized + width * height), width, height, stride: width };
    }));
  }

  // Gives frames to `work`, and releases those that only this call needs.
  #with(images, work) {
    const made = [];
    const names = Object.keys(images);
    const frameOf = (name) => {
      const image = images[name];
      if (image instanceof Frame) {
        check(image.belongsTo(this.#code), name, 'is a frame of another instance', TypeError);
        return image;
      }
      const keep = (frame) => {
        made.push(frame);
        return frame;
      };
      const frame = this.#named(name, () => this.frame(image));
      return frame instanceof Promise ? frame.then(keep) : keep(frame);
    };
    const release = () => made.forEach((frame) => frame.dispose());
    if (names.some((name) => has.videoFrame(images[name])))
      return Promise.all(names.map(frameOf)).then((frames) => work(...frames)).finally(release);
    try {
      return work(...names.map(frameOf));
    } finally {
      release();
    }
  }

  // What is wrong with an image is said of the argument that it is.
  #named(name, work) {
    try {
      return work();
    } catch (error) {
      error.message = error.message.replace(/^image\b/, name);
      throw error;
    }
  }

  #withBlock(size, work) {
    const address = this.#allocate(size);
    try {
      return work(address);
    } finally {
      this.#code.release(address);
    }
  }

  #allocate(size) {
    const address = this.#code.allocate(Math.max(size, 1));
    this.#call('image', address === 0 ? outOfMemory : 0, size);
    return address;
  }

  #call(argument, result, size) {
    if (result === outOfMemory) {
      const wanted = size === undefined ? 'more is needed' : `${size} are needed`;
      throw new RangeError(`memory: ${this.#code.largest() >>> 0} bytes are free and ${wanted}; `
        + 'dispose of frames, or let load() take more memory');
    }
    check(result === 0, argument, `is refused (code ${result})`);
  }

  #hold(width, height, fill) {
    const held = { code: this.#code, address: this.#allocate(width * height) };
    try {
      fill(held.address);
    } catch (error) {
      releaseHeld(held);
      throw error;
    }
    const frame = new Frame(held, width, height);
    forgotten.register(frame, held);
    return frame;
  }

  #fromPlane(image) {
    check(image?.y instanceof Uint8Array || image?.y instanceof Uint8ClampedArray, 'image',
      'is no ImageData, no VideoFrame, no frame, and has no bytes y', TypeError);
    const { y, width, height, stride = width } = image;
    checkSide(width, 'image.width');
    checkSide(height, 'image.height');
    check(Number.isInteger(stride) && stride >= width, 'image.stride',
      `${stride} is less than the width of ${width}`);
    const needed = stride * (height - 1) + width;
    check(y.length >= needed, 'image.y', `has ${y.length} bytes, ${width} x ${height} pixels need ${
      needed}`);
    return this.#hold(width, height, (address) => {
      if (stride === width)
        this.#bytes.set(y.subarray(0, width * height), address);
      else
        for (let row = 0; row < height; ++row)
          this.#bytes.set(y.subarray(row * stride, row * stride + width), address + row * width);
    });
  }

  // In parts, so that the pixels are never here as a whole.
  #fromPixels({ data, width, height }) {
    checkSide(width, 'image.width');
    checkSide(height, 'image.height');
    const count = width * height;
    check(data.length >= 4 * count, 'image.data', `has ${data.length} bytes, ${width} x ${
      height} pixels need ${4 * count}`);
    const part = Math.min(count, pageSize);
    return this.#withBlock(4 * part, (pixels) => this.#hold(width, height, (address) => {
      for (let start = 0; start < count; start += part) {
        const end = Math.min(start + part, count);
        this.#bytes.set(data.subarray(4 * start, 4 * end), pixels);
        this.#code.lumaOfRgba(pixels, end - start, address + start);
      }
    }));
  }

  async #videoFrame(image) {
    const { width, height } = image.visibleRect ?? image;
    if (/^(I4|NV)/.test(image.format ?? '')) {
      const y = new Uint8Array(image.allocationSize());
      const [{ offset, stride }] = await image.copyTo(y);
      return this.#fromPlane({ y: y.subarray(offset), width, height, stride });
    }
    check(image.format !== null, 'image', 'is a VideoFrame whose pixels cannot be read', TypeError);
    const data = new Uint8Array(image.allocationSize({ format: 'RGBA' }));
    await image.copyTo(data, { format: 'RGBA' });
    return this.#fromPixels({ data, width, height });
  }

  #blurOf({ address, width, height }) {
    check(width >= 2 && height >= 2, 'image', 'is smaller than 2 x 2 pixels');
    this.#call('image', this.#code.blur(address, width, height));
    return { score: this.#results[0], width, height };
  }

  // What `blur` gave before stands for its frame.
  #measured(frame) {
    return Number.isInteger(frame?.score) ? frame : this.blur(frame);
  }

  #rank(blurs, keep, faces) {
    const [{ width, height }] = blurs;
    const other = blurs.findIndex((blur) => blur.width !== width || blur.height !== height);
    check(other < 0, 'frames', `${other} has ${blurs[other]?.width} x ${blurs[other]?.height} pixels, but 0 has ${
      width} x ${height}`);
    const record = recordOf(blurs.length, faces, width & ~1, height & ~1);
    return this.#withBlock(4 * blurs.length, (scores) => this.#withBlock(record.length, (bytes) => {
      const numbers = new Int32Array(this.#bytes.buffer, scores, blurs.length);
      numbers.set(blurs.map((blur) => blur.score));
      this.#bytes.set(record, bytes);
      this.#call('faces', this.#code.pick(scores, blurs.length, width, height, bytes, record.length,
        Math.min(keep, blurs.length)));
      const [best, count] = this.#results;
      return { best, kept: [...numbers.subarray(0, count)], scores: blurs.map((blur) => blur.score) };
    }));
  }

  #checkPair(first, second) {
    check(first.width === second.width && first.height === second.height, 'second',
      `has ${second.width} x ${second.height} pixels, but first has ${first.width} x ${first.height}`);
  }

  #text(address) {
    return new TextDecoder().decode(this.#bytes.subarray(address, this.#bytes.indexOf(0, address)));
  }
}

const eyes = { open: 1, closed: 0, unknown: 2 };
const smiles = { none: 0, smile: 30, broad: 80, unknown: 1 };

// The pre-processing record of a burst without maps (section 8 of kelvane.h).
function recordOf(frameCount, faces, width, height) {
  check(faces === undefined || (Array.isArray(faces) && faces.length === frameCount), 'faces',
    `is no array of ${frameCount} arrays, one for each frame`, TypeError);
  const record = new DataView(new ArrayBuffer(32 + 412 * frameCount));
  record.setUint32(4, frameCount, true);
  (faces ?? []).forEach((ofFrame, i) => {
    check(ofFrame.length <= facesPerFrame, 'faces', `frame ${i} has more than ${facesPerFrame}`);
    record.setInt32(32 + 412 * i + 400, ofFrame.length, true);
    ofFrame.forEach((face, j) => writeFace(face, i, width, height,
      (k, value) => record.setInt32(32 + 412 * i + 40 * j + 4 * k, value, true)));
  });
  return new Uint8Array(record.buffer);
}

function writeFace({ rect, code = 0, eyes: state = 'unknown', smile = 'unknown' }, i, width, height,
  set) {
  const { left, top, right, bottom } = rect;
  check(0 <= left && left < right && right <= width && 0 <= top && top < bottom && bottom <= height,
    'faces', `frame ${i} has a face at ${[left, top, right, bottom]}, which is not inside it`);
  check(Number.isInteger(code) && code >= 0 && code <= 16, 'faces', `frame ${i} has the code ${code}`);
  check(Object.hasOwn(eyes, state), 'faces', `frame ${i} has eyes that are ${state}`);
  check(Object.hasOwn(smiles, smile), 'faces', `frame ${i} has the smile ${smile}`);
  [left, top, right, bottom, code, smiles[smile], eyes[state]].forEach((value, k) => set(k, value));
}
