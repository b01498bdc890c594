"""Writes TIFF files that promise what they do not hold; with "old-jpeg", one of old JPEG compression."""
import struct
import subprocess
import sys

SHORT, LONG = 3, 4


def tiff(entries, data=b""):
    """`entries`: tag to value; `data` lies at byte 8."""
    directory = b"".join(struct.pack("<HHII", tag, LONG if value > 65535 or tag in (273, 279, 513, 514)
                                     else SHORT, 1, value) for tag, value in sorted(entries.items()))
    return (b"II*\0" + struct.pack("<I", 8 + len(data)) + data + struct.pack("<H", len(entries)) +
            directory + bytes(4))


def grey(width, height, **more):
    entries = {256: width, 257: height, 258: 8, 259: 1, 262: 1, 273: 8, 277: 1, 278: height, 279: 100}
    entries.update({int(tag[1:]): value for tag, value in more.items()})
    return entries


def main():
    if "old-jpeg" in sys.argv:
        jpeg = subprocess.run(["media", "160x120", "as=jpeg"], capture_output=True).stdout
        entries = grey(160, 120, t258=8, t259=6, t262=6, t277=3, t513=8, t514=len(jpeg), t279=len(jpeg))
        open("old.tif", "wb").write(tiff(entries, jpeg))
        return
    tile = grey(64, 64, t322=65520, t323=65520, t324=8, t325=100)
    for tag in (273, 278, 279):
        del tile[tag]
    for name, entries in (("bomb", grey(65535, 65535, t259=8)), ("tile", tile),
                          ("float", grey(10, 10, t258=32, t339=3)), ("unknown", grey(10, 10, t259=777)),
                          ("missing", grey(10, 10, t273=99999))):
        open(name + ".tif", "wb").write(tiff(entries, bytes(100)))


main()
