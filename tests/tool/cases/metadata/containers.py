"""One Exif block in the files that hold such blocks, without pixels."""
import pathlib
import struct
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2]))
from tag_picture import ASCII, SHORT, Tiff, exif  # noqa: E402

KEYS = {"date": "2026:05:01 10:20:00", "fraction": "25", "zone": "-03:30", "orientation": "8",
        "camera": "Panasonic X", "panasonic": "2"}


def box(kind, content):
    return struct.pack(">L", 8 + len(content)) + kind + content


def cr3():
    tiff = Tiff("II")

    def part(fields):
        return tiff.header() + tiff.directory(fields, 8)
    general = part([(0x10F, ASCII, "Canon"), (0x110, ASCII, "X"), (0x112, SHORT, [8])])
    taken = part([(0x9003, ASCII, KEYS["date"]), (0x9291, ASCII, "25"), (0x9011, ASCII, KEYS["zone"])])
    note = part([(4, SHORT, [20] + [0] * 8 + [2])])
    canon = bytes.fromhex("85c0b687820f11e08111f4ce462b6a48")
    parts = box(b"CNCV", b"x") + box(b"CMT1", general) + box(b"CMT2", taken) + box(b"CMT3", note)
    moov = box(b"trak", b"") + box(b"uuid", bytes(16)) + box(b"uuid", canon + parts)
    return box(b"ftyp", b"crx \0\0\0\1") + box(b"moov", moov)


def far(tiff):
    """The directories behind 200 kB of pixels, where other programs than cameras put them."""
    moved = 200000
    shifted = exif(KEYS | {"order": "II"}, moved)
    return tiff[:4] + struct.pack("<L", moved) + bytes(moved - 8) + shifted[8:]


big, little = exif(KEYS), exif(KEYS | {"order": "II"})
jpeg = b"\xff\xd8\xff\xff\xe0\0\4ab\xff\xe1" + struct.pack(">H", len(big) + 8) + b"Exif\0\0" + big
png = b"\x89PNG\r\n\x1a\n" + struct.pack(">L", 13) + b"IHDR" + bytes(17)
files = {
    "1.tif": little, "2.tif": far(little), "3.orf": b"IIRO" + little[4:], "4.rw2": b"IIU\0" + little[4:],
    "5.jpg": jpeg + b"\xff\xda",
    "6.raf": b"FUJIFILMCCD-RAW ".ljust(84, b"\0") + struct.pack(">LL", 100, len(jpeg)) + bytes(8) + jpeg,
    "7.png": png + struct.pack(">L", len(big)) + b"eXIf" + big,
    "8.webp": b"RIFF\0\0\0\0WEBPVP8 \3\0\0\0abc\0EXIF" + struct.pack("<L", len(big) + 6) + b"Exif\0\0" + big,
    "9.cr3": cr3(),
}
for name, content in files.items():
    pathlib.Path(name).write_bytes(content)
