"""Puts together what heif-enc coded, as cameras do: in tiles, turned, cropped.

usage: make_heif.py OUT [KEY=VALUE]... FILE...

Keys: rotate (quarters against the clock), mirror (axis: 0 swaps top and bottom, 1 left and right),
grid (WIDTHxHEIGHT in pixels, columns after a comma: 320x240,2), crop (WIDTHxHEIGHT about the centre).
"""
import struct
import sys


def boxes(data):
    at = 0
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        yield kind, data[at + 8:at + size]
        at += size


def box(kind, *parts):
    data = b"".join(parts)
    return struct.pack(">I4s", 8 + len(data), kind) + data


def full_box(kind, version, flags, *parts):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


class Coded:
    """The first picture of a file: its properties as boxes, and its data."""

    def __init__(self, path):
        file = dict(boxes(open(path, "rb").read()))
        meta = dict(boxes(file[b"meta"][4:]))
        properties = dict(boxes(dict(boxes(meta[b"iprp"]))[b"ipco"]))
        self.kind = b"hvc1" if b"hvcC" in properties else b"av01"
        self.width, self.height = struct.unpack(">II", properties[b"ispe"][4:12])
        self.properties = [box(kind, properties[kind])
                           for kind in (b"hvcC", b"av1C", b"colr", b"pixi") if kind in properties]
        self.properties.append(ispe(self.width, self.height))
        self.data = self.first_item(meta[b"iloc"], open(path, "rb").read())

    def first_item(self, iloc, file):
        # item, construction method (version 1), data reference, base offset, extents
        version, sizes, base_bytes = iloc[0], iloc[4], iloc[5] >> 4
        assert version < 2 and sizes == 0x44
        at = 8 + 2 + 2 * version + 2
        base = int.from_bytes(iloc[at:at + base_bytes], "big")
        extents, offset, length = struct.unpack(">HII", iloc[at + base_bytes:at + base_bytes + 10])
        assert extents == 1
        return file[base + offset:base + offset + length]


def ispe(width, height):
    return full_box(b"ispe", 0, 0, struct.pack(">II", width, height))


def file_of(items, references, rotate, mirror, crop):
    """`items`: (kind, properties, data); the first is the primary one, and is turned."""
    properties, associations = [], b""
    items[0][1].extend(transformations(items[0][1], rotate, mirror, crop))
    for number, (_, own, _) in enumerate(items, 1):
        first = len(properties) + 1
        properties += own
        indices = bytes(0x80 | i for i in range(first, len(properties) + 1))
        associations += struct.pack(">HB", number, len(indices)) + indices
    infos = b"".join(full_box(b"infe", 2, 0, struct.pack(">HH4s", number, 0, kind), b"\0")
                     for number, (kind, _, _) in enumerate(items, 1))
    def meta(start):
        places = b""
        for number, (_, _, data) in enumerate(items, 1):
            places += struct.pack(">HHHII", number, 0, 1, start, len(data))
            start += len(data)
        return full_box(
            b"meta", 0, 0,
            full_box(b"hdlr", 0, 0, struct.pack(">I4s", 0, b"pict"), bytes(13)),
            full_box(b"pitm", 0, 0, struct.pack(">H", 1)),
            full_box(b"iloc", 0, 0, b"\x44\0", struct.pack(">H", len(items)), places),
            full_box(b"iinf", 0, 0, struct.pack(">H", len(items)), infos),
            full_box(b"iref", 0, 0, references) if references else b"",
            box(b"iprp", box(b"ipco", *properties),
                full_box(b"ipma", 0, 0, struct.pack(">I", len(items)), associations)))
    brand = b"avif" if items[-1][0] == b"av01" else b"heic"
    ftyp = box(b"ftyp", brand, bytes(4), b"mif1", brand)
    size = len(ftyp) + len(meta(0)) + 8
    return ftyp + meta(size) + box(b"mdat", *(data for _, _, data in items))


def transformations(properties, rotate, mirror, crop):
    made = []
    if crop:
        made.append(box(b"clap", struct.pack(">8I", crop[0], 1, crop[1], 1, 0, 1, 0, 1)))
    if rotate is not None:
        made.append(box(b"irot", bytes([rotate])))
    if mirror is not None:
        made.append(box(b"imir", bytes([mirror])))
    return made


def grid_of(coded, width, height, columns):
    data = struct.pack(">BBBBHH", 0, 0, len(coded) // columns - 1, columns - 1, width, height)
    pixi = [p for p in coded[0].properties if p[4:8] == b"pixi"]
    items = [(b"grid", [ispe(width, height)] + pixi, data)]
    items += [(c.kind, c.properties, c.data) for c in coded]
    numbers = b"".join(struct.pack(">H", i) for i in range(2, len(items) + 1))
    return items, box(b"dimg", struct.pack(">HH", 1, len(coded)), numbers)


def main():
    keys = dict(argument.split("=") for argument in sys.argv[2:] if "=" in argument)
    coded = [Coded(argument) for argument in sys.argv[2:] if "=" not in argument]
    items, references = [(coded[0].kind, coded[0].properties, coded[0].data)], b""
    if "grid" in keys:
        size, columns = keys["grid"].split(",")
        width, height = map(int, size.split("x"))
        items, references = grid_of(coded, width, height, int(columns))
    crop = tuple(map(int, keys["crop"].split("x"))) if "crop" in keys else None
    number = lambda key: int(keys[key]) if key in keys else None
    with open(sys.argv[1], "wb") as out:
        out.write(file_of(items, references, number("rotate"), number("mirror"), crop))


main()
