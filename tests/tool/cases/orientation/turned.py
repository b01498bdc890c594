"""What the session of orientations needs.

usage: turned.py tag FILE NUMBER [exiftype|back|twice]   states an orientation in JPEG, PNG, WebP or MOV
       turned.py differ A B                              mean and largest difference of two PNM files
       turned.py pictures PAGE FOLDER                    writes the pictures that a page holds
"""
import base64
import pathlib
import re
import struct
import sys
import zlib


def exif(number, kind=3):
    value = struct.pack("<HH", number, 0) if kind == 3 else struct.pack("<I", number)
    return b"II*\0" + struct.pack("<IHHHI", 8, 1, 0x112, kind, 1) + value + bytes(4)


def segment(data):
    data = b"Exif\0\0" + data
    return b"\xFF\xE1" + struct.pack(">H", len(data) + 2) + data


def png_chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def riff_chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + bytes(len(data) % 2)


def webp(file, data):
    width, height = (n & 0x3FFF for n in struct.unpack("<HH", file[26:30]))
    canvas = struct.pack("<I", width - 1)[:3] + struct.pack("<I", height - 1)[:3]
    body = b"WEBP" + riff_chunk(b"VP8X", b"\x08\0\0\0" + canvas) + file[12:] + riff_chunk(b"EXIF", data)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def mov(file, number):
    right, down = {2: (-1, 1), 3: (-1, -1), 4: (1, -1), 5: (1, 1), 6: (1, -1), 7: (-1, -1), 8: (-1, 1)}[number]
    turned = number > 4  # right leads down, down leads right
    matrix = [0, right, 0, down, 0, 0] if turned else [right, 0, 0, 0, down, 0]
    at = file.index(b"tkhd") + 44
    return file[:at] + struct.pack(">6i", *(n << 16 for n in matrix)) + file[at + 24:]


def tagged(file, number, how):
    data = exif(number, int(how) if how.isdigit() else 3)
    if file.startswith(b"\xFF\xD8"):
        rest = segment(exif(8)) if how == "twice" else b""
        return file[:2] + segment(data) + rest + file[2:]
    if file.startswith(b"\x89PNG"):
        at = -12 if how == "back" else 33
        return file[:at] + png_chunk(b"eXIf", data) + file[at:]
    return webp(file, data) if file.startswith(b"RIFF") else mov(file, number)


def pixels(path):
    head = re.match(rb"P[56]\n\d+ \d+\n255\n", path.read_bytes())
    return head[0], path.read_bytes()[head.end():]


verb, first, *rest = sys.argv[1:]
first = pathlib.Path(first)
if verb == "tag":
    first.write_bytes(tagged(first.read_bytes(), int(rest[0]), (rest + [""])[1]))
elif verb == "differ":
    (head, a), (other, b) = pixels(first), pixels(pathlib.Path(rest[0]))
    differences = [abs(x - y) for x, y in zip(a, b)]
    print(sum(differences) / len(a), max(differences)) if head == other else print(head, other)
else:
    found = re.findall(r'src="data:image/jpeg;base64,([^"]*)"', first.read_text())
    for i, picture in enumerate(found):
        pathlib.Path(rest[0], f"{i:02}.jpg").write_bytes(base64.b64decode(picture))
