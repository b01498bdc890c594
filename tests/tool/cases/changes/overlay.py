"""Checks the overlay: a yellow box just inside the rectangle, as many tinted pixels within as the
library says have changed, and the picture around it."""
import json


def read(path, channels):
    head, size, depth, pixels = open(path, "rb").read().split(b"\n", 3)
    width, height = map(int, size.split())
    return width, height, [tuple(pixels[i:i + channels]) for i in range(0, len(pixels), channels)]


width, height, picture = read("a.pgm", 1)
overlay = read("out.ppm", 3)[2]
report = json.load(open("json"))
left, top, right, bottom = report["rect"]
left, right = left + report["dx"], right + report["dx"]
top, bottom = top + report["dy"], bottom + report["dy"]
red = boxed = 0
for i, ((grey,), pixel) in enumerate(zip(picture, overlay, strict=True)):
    x, y = i % width, i // width
    depth = min(x - left, right - 1 - x, y - top, bottom - 1 - y)
    if depth == 0:
        boxed += 1
        assert pixel == (255, 255, 0), (x, y, pixel)
    elif pixel != (grey, grey, grey):
        red += 1
        assert depth > 0 and pixel == ((grey + 255) // 2, grey // 2, grey // 2), (x, y, pixel)
changed = round(report["changed_ratio"] * width * height)
assert red > 0 and red <= changed <= red + boxed, (red, changed, boxed)
