// Pictures of a camera and of a video, one after the other, each of which whoever takes it closes.
// Where the browser has VideoFrame their luma is that of the recording.

const cameraFrames = 20;
const cameraPause = 100; // milliseconds
const mostVideoFrames = 200;
const videoPause = 0.1; // seconds

const pictureOf = (video) => typeof VideoFrame === 'undefined' ? createImageBitmap(video)
  : new VideoFrame(video, { timestamp: Math.round(video.currentTime * 1e6) });

const once = (target, type, signal) => new Promise((resolve, reject) => {
  target.addEventListener(type, resolve, { once: true, signal });
  target.addEventListener('error', () => reject(new Error('is no video that this browser can read')),
    { once: true, signal });
  signal.addEventListener('abort', () => reject(signal.reason), { once: true });
});

/** Two seconds of the camera, a picture every 100 ms. They are kept in memory only. */
export async function* cameraPictures(signal) {
  const stream = await navigator.mediaDevices.getUserMedia({
    video: { facingMode: 'environment', width: { ideal: 1920 }, height: { ideal: 1080 } },
  }).catch((error) => { throw new Error(`the camera cannot be used: ${error.message}`); });
  try {
    const video = Object.assign(document.createElement('video'), { muted: true, playsInline: true });
    video.srcObject = stream;
    await video.play();
    const start = performance.now();
    for (let i = 0; i < cameraFrames; ++i) {
      const wait = start + i * cameraPause - performance.now();
      await new Promise((resolve) => setTimeout(resolve, Math.max(wait, 0)));
      signal.throwIfAborted();
      yield { name: `camera-${String(i).padStart(2, '0')}.jpg`, picture: await pictureOf(video), total: cameraFrames };
    }
  } finally {
    stream.getTracks().forEach((track) => track.stop());
  }
}

/** A picture for each tenth of a second of a video, at most 200 over its whole length. */
export async function* videoPictures(file, signal) {
  const url = URL.createObjectURL(file);
  try {
    const video = Object.assign(document.createElement('video'), { muted: true, preload: 'auto' });
    const loaded = once(video, 'loadeddata', signal);
    video.src = url;
    await loaded;
    if (!Number.isFinite(video.duration))
      throw new Error('is a video without a length');
    const total = Math.min(mostVideoFrames, Math.max(1, Math.floor(video.duration / videoPause)));
    for (let i = 0; i < total; ++i) {
      const seeked = once(video, 'seeked', signal);
      video.currentTime = (i + 0.5) * video.duration / total;
      await seeked;
      const name = `${file.name}-${video.currentTime.toFixed(2)}s.jpg`;
      yield { name, picture: await pictureOf(video), total };
    }
  } finally {
    URL.revokeObjectURL(url);
  }
}
