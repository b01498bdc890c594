"""JPEG files with the time of their capture in an EXIF segment, big-endian: one directory that
leads to another, which holds two texts. Each text is too long for its entry."""
import struct
import subprocess


def write(name, size, blur, date, fraction):
    media = ["media", size, f"blur={blur}", "as=jpeg"]
    jpeg = subprocess.run(media, capture_output=True).stdout
    second, texts = 26, 26 + 30
    tiff = b"MM\0*" + struct.pack(">LH HHLL L", 8, 1, 0x8769, 4, 1, second, 0)
    tiff += struct.pack(">H HHLL HHLL L", 2, 0x9003, 2, len(date) + 1, texts,
                        0x9291, 2, len(fraction) + 1, texts + len(date) + 1, 0)
    tiff += date.encode() + b"\0" + fraction.encode() + bytes(8)
    exif = b"\xff\xe1" + struct.pack(">H", len(tiff) + 8) + b"Exif\0\0" + tiff
    open(f"day/{name}.jpg", "wb").write(jpeg[:2] + exif + jpeg[2:])


write("f", "160x120", 5, "2026:05:01 10:20:00", "500000000000")
write("e", "160x120", 1, "2026:05:01 10:20:02", "500000000000")  # exactly 2 s later
write("d", "200x160", 1, "2026:05:01 10:20:01", "000000000000")  # of another size
write("c", "160x120", 5, "2026:05:01 10:20:02", "300000000000")  # before e by its fraction
write("b", "160x120", 1, "2026:05:01 10:20:05", "000000000000")
write("g", "160x120", 5, "    :  :     :  :  ", " " * 12)
