// How long the package's operations take on two frames of 12 megapixels, in milliseconds: the shortest of
// a few runs. The texture is that of bench/web_times.cpp.
const width = 4000, height = 3000, runs = 7;

function texture(shift) {
  const y = new Uint8Array(width * height);
  for (let i = 0; i < y.length; ++i) {
    const u = i % width + shift, v = Math.floor(i / width) + shift;
    y[i] = ((u * u >>> 6) ^ (v * v >>> 5) ^ (u * v >>> 9)) & 255;
  }
  return { y, width, height };
}

/** Gives the name and the time of each operation. */
export async function times(load, options) {
  const kelvane = await load({ ...options, memory: 512 << 20 });
  const first = kelvane.frame(texture(0)), second = kelvane.frame(texture(12));
  const operations = {
    blur: () => kelvane.blur(first),
    align: () => kelvane.align(first, second),
    changes: () => kelvane.changes(first, second),
    resize: () => kelvane.resize(first, { width: width / 4, height: height / 4 }),
  };
  const found = {};
  for (const [name, run] of Object.entries(operations)) {
    found[name] = Infinity;
    for (let i = 0; i < runs; ++i) {
      const start = performance.now();
      run();
      found[name] = Math.min(found[name], performance.now() - start);
    }
  }
  return found;
}
