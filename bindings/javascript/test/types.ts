// Compiled, not run: what the types must accept and refuse.
import { load, type Blur, type Choice, type Frame, type Plane, type Shift } from '../src/kelvane.js';

export async function use(pixels: ImageData, plane: Plane, video: VideoFrame): Promise<void> {
  const kelvane = await load({ memory: 64 << 20 });
  const blur: Blur = kelvane.blur(pixels);
  const later: Promise<Blur> = kelvane.blur(video);
  using frame: Frame = kelvane.frame(plane);
  const shift: Shift = kelvane.align(frame, pixels);
  const mixed: Promise<Shift> = kelvane.align(frame, video);
  const choice: Choice = kelvane.pick([blur, pixels], { keep: 2, faces: [[], []] });
  const { y }: Required<Plane> = kelvane.resize(frame, { width: 8, height: 8 });
  // @ts-expect-error: a path is no image
  kelvane.blur('photo.jpg');
  // @ts-expect-error: a promise is no blur
  const wrong: Blur = kelvane.blur(video);
  console.log(later, shift, mixed, choice, y, wrong);
}
