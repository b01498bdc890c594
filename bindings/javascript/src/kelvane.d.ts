/** 8-bit luma: row r starts at `y[r * stride]`. */
export interface Plane {
  y: Uint8Array | Uint8ClampedArray;
  /** Pixels, 1 to 65535. */
  width: number;
  height: number;
  /** Bytes from one row to the next; the width when it is left out. */
  stride?: number;
}

/**
 * Red, green, blue and alpha, as a canvas gives them. Their luma is that of JPEG: ITU-R BT.601, full
 * range, rounded. Alpha takes no part.
 */
export type Pixels = Pick<ImageData, 'data' | 'width' | 'height'>;

/**
 * A plane of luma in the memory of the library, for more than one call. It is released by
 * `dispose()`, at the end of the block of `using`, and at the latest some time after it is forgotten.
 */
export interface Frame {
  readonly width: number;
  readonly height: number;
  dispose(): void;
  [Symbol.dispose](): void;
}

/** What is there at once. */
export type StillImage = Pixels | Plane | Frame;

/**
 * An image. The luma of a VideoFrame of a YUV format (I420, I422, I444, NV12) is taken as it is, in the
 * range that it has; other formats become pixels first. A VideoFrame stays the caller's, who closes it.
 */
export type Image = StillImage | VideoFrame;

/** Reading a VideoFrame takes a while: the result is then a promise. */
export type Result<Input, Value> = [Input] extends [StillImage] ? Value : Promise<Value>;

/** Right and bottom are exclusive, in pixels. */
export interface Rect {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

export interface Blur {
  /** 0 (flat) to 5,099,999; higher is sharper. It compares images of one scene and size. */
  score: number;
  width: number;
  height: number;
}

export interface Face {
  rect: Rect;
  /** 0 to 16; 13 to 16 count against the frame. */
  code?: number;
  eyes?: 'open' | 'closed' | 'unknown';
  smile?: 'none' | 'smile' | 'broad' | 'unknown';
}

export interface PickOptions {
  /** How many frames to keep, at least 1; all when there are fewer. Default: 1. */
  keep?: number;
  /** The faces of every frame, at most ten each. */
  faces?: Face[][];
}

export interface Choice {
  /** The index of the best frame. */
  best: number;
  /** The indices of the kept frames, ascending; the best is among them. */
  kept: number[];
  /** The blur score of every frame. */
  scores: number[];
}

/** Pixel p of the second image shows what pixel p + (dx, dy) of the first one shows. */
export interface Shift {
  dx: number;
  dy: number;
}

export interface Changes extends Shift {
  /** Where the second image differs, in its pixels; null when it does not. */
  rect: Rect | null;
  /** Changed pixels over all pixels. */
  ratio: number;
}

export interface LoadOptions {
  /**
   * All the memory of the library in bytes, 1 MiB to almost 4 GiB; default: 256 MiB. It is taken at
   * once and never grows, but most systems give memory only where it is used. A frame takes a byte
   * for each pixel; aligning two frames takes half a byte more, and finding changes six.
   */
  memory?: number;
  /** Whether to use vectors of 128 bits; default: where the engine has them. */
  vectors?: boolean;
  /** Another place of the module, its bytes, or the compiled module. */
  module?: URL | BufferSource | WebAssembly.Module;
}

/**
 * The library with memory of its own. Arguments that do not fit are refused with a TypeError or
 * RangeError whose message begins with the argument's name, also `memory` when there is too little.
 */
export interface Kelvane {
  readonly version: string;

  /** Takes the luma of an image into the memory of the library. */
  frame<Input extends Image>(image: Input): Result<Input, Frame>;

  /**
   * How sharp an image is inside a centred crop (an absolute-gradient focus function: Groen, Young
   * and Ligthart, 1985). An odd last column or row takes no part.
   */
  blur<Input extends Image>(image: Input): Result<Input, Blur>;

  /** The same of a part that lies inside the image; its edges are rounded down to multiples of 4. */
  blurOfPart<Input extends Image>(image: Input, part: Rect): Result<Input, number>;

  /**
   * Ranks a burst of images of one size. What `blur` gave for an image may stand for it: a long burst
   * is measured image by image.
   */
  pick<Input extends Image | Blur>(frames: Input[], options?: PickOptions):
    [Input] extends [StillImage | Blur] ? Choice : Promise<Choice>;

  /** The translation between two images of one size (threshold bitmaps: Ward, 2003). */
  align<First extends Image, Second extends Image>(first: First, second: Second):
    Result<First | Second, Shift>;

  /** Where the second of two images of one size differs; sides of 100 pixels or more. */
  changes<First extends Image, Second extends Image>(first: First, second: Second):
    Result<First | Second, Changes>;

  /** The luma in another size, bilinear. */
  resize<Input extends Image>(image: Input, size: { width: number; height: number }):
    Result<Input, Required<Plane>>;
}

/** Loads the library. Each instance has memory of its own and serves one thread. */
export function load(options?: LoadOptions): Promise<Kelvane>;
