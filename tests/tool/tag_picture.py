#!/usr/bin/env python3
"""Writes what cameras write into a JPEG: `media ... as=jpeg | tag KEY=VALUE... >FILE`.

date, fraction, zone   DateTimeOriginal, SubSecTimeOriginal and OffsetTimeOriginal
orientation            1 to 8
camera                 the maker, and after a space the model
canon, fujifilm, nikon, olympus, panasonic, sony
                       a number of the sequence, as the maker's note has it
apple                  the identifier of a burst, as that maker's note has it
burst                  the same in XMP
order                  II or MM, which is usual
as                     jpeg, or tiff for what the Exif segment holds
"""
import struct
import sys

ASCII, SHORT, LONG, UNDEFINED = 2, 3, 4, 7


class Tiff:
    def __init__(self, order):
        self.order = order
        self.mark = "<" if order == "II" else ">"

    def pack(self, form, *values):
        return struct.pack(self.mark + form, *values)

    def directory(self, fields, start):
        """A directory of (tag, type, value) that begins at an offset, and the values behind it."""
        entries, values = b"", b""
        after = start + 2 + 12 * len(fields) + 4
        for tag, kind, value in sorted(fields):
            if kind == ASCII:
                value = value.encode() + b"\0"
            elif kind != UNDEFINED:
                value = b"".join(self.pack({SHORT: "H", LONG: "L"}[kind], v) for v in value)
            count = len(value) // {SHORT: 2, LONG: 4}.get(kind, 1)
            inside = len(value) <= 4
            place = value.ljust(4, b"\0") if inside else self.pack("L", after + len(values))
            entries += self.pack("HHL", tag, kind, count) + place
            if not inside:
                values += value + b"\0" * (len(value) % 2)
        return self.pack("H", len(fields)) + entries + bytes(4) + values

    def header(self):
        return self.order.encode() + self.pack("HL", 42, 8)


def maker_note(tiff, keys, start):
    """The note that belongs at an offset of the Exif data, or None."""
    big, little = Tiff("MM"), Tiff("II")
    number = {key: int(keys[key]) for key in keys if keys[key].isdigit()}
    if "apple" in keys:
        return b"Apple iOS\0\0\1MM" + big.directory([(0x0B, ASCII, keys["apple"])], 14)
    if "canon" in keys:
        return tiff.directory([(4, SHORT, [20] + [0] * 8 + [number["canon"]])], start)
    if "fujifilm" in keys:
        return b"FUJIFILM\x0c\0\0\0" + little.directory([(0x1101, SHORT, [number["fujifilm"]])], 12)
    if "nikon" in keys:
        group = b"0100" + little.pack("H", number["nikon"])
        return b"Nikon\0\2\x11\0\0" + little.header() + little.directory([(0x56, UNDEFINED, group)], 8)
    if "olympus" in keys:
        settings = little.directory([(0x600, SHORT, [1, number["olympus"]])], 12 + 18)
        return b"OLYMPUS\0II\3\0" + little.directory([(0x2020, LONG, [30])], 12) + settings
    if "panasonic" in keys:
        return b"Panasonic\0\0\0" + tiff.directory([(0x2B, LONG, [number["panasonic"]])], start + 12)
    if "sony" in keys:
        return b"SONY DSC \0\0\0" + tiff.directory([(0xB04A, SHORT, [number["sony"]])], start + 12)


def exif(keys, first=8):
    """A TIFF structure whose first directory belongs at an offset; what is before it is left out."""
    tiff = Tiff(keys.get("order", "MM"))
    general = [(0x8769, LONG, [0])]
    if "camera" in keys:
        make, _, model = keys["camera"].partition(" ")
        general += [(0x10F, ASCII, make), (0x110, ASCII, model)]
    if "orientation" in keys:
        general.append((0x112, SHORT, [int(keys["orientation"])]))
    start = first + len(tiff.directory(general, first))
    general[0] = (0x8769, LONG, [start])
    fields = [(tag, ASCII, keys[key]) for tag, key in
              ((0x9003, "date"), (0x9291, "fraction"), (0x9011, "zone")) if key in keys]
    # The note comes last, and its own offsets depend on where that is.
    note_at = start + len(tiff.directory(fields + [(0x927C, UNDEFINED, bytes(5))], start)) - 6
    note = maker_note(tiff, keys, note_at)
    if note:
        fields.append((0x927C, UNDEFINED, note))
    return tiff.header() + tiff.directory(general, first) + tiff.directory(fields, start)


def xmp(burst):
    return f"""<x:xmpmeta xmlns:x="adobe:ns:meta/">
<rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
<rdf:Description rdf:about="" xmlns:GCamera="http://ns.google.com/photos/1.0/camera/"
  GCamera:BurstID="{burst}"/></rdf:RDF></x:xmpmeta>""".encode()


def segment(data):
    return b"\xff\xe1" + struct.pack(">H", len(data) + 2) + data


def main():
    keys = dict(argument.split("=", 1) for argument in sys.argv[1:])
    if keys.get("as") == "tiff":
        return sys.stdout.buffer.write(exif(keys))
    picture = sys.stdin.buffer.read()
    segments = segment(b"Exif\0\0" + exif(keys))
    if "burst" in keys:
        segments += segment(b"http://ns.adobe.com/xap/1.0/\0" + xmp(keys["burst"]))
    sys.stdout.buffer.write(picture[:2] + segments + picture[2:])


if __name__ == "__main__":
    main()
