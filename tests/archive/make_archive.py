#!/usr/bin/env python3
"""Makes an archive of photographs to try things with.

usage: make_archive.py FOLDER COUNT SOURCE... [--width PIXELS] [--seed N]

COUNT JPEG files in folders of years and months below FOLDER, with capture times in their Exif data:
bursts of 2 to 8 within a few seconds, and one picture in ten by itself. Each is one of the SOURCE
pictures, cut, blurred and lit a little differently, and encoded anew. The same seed gives the same
pictures.
"""
import argparse
import datetime
import pathlib
import random
import sys

from PIL import Image, ImageEnhance, ImageFilter

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "tool"))
import tag_picture  # noqa: E402  (beside this folder)


def photograph(source, chance):
    """Another picture of the same scene."""
    dx, dy = chance.randrange(9), chance.randrange(9)
    picture = source.crop((dx, dy, source.width - 8 + dx, source.height - 8 + dy))
    picture = picture.filter(ImageFilter.GaussianBlur(chance.choice([0, 0.4, 0.8, 1.5])))
    return ImageEnhance.Brightness(picture).enhance(chance.uniform(0.9, 1.1))


def moments(count, chance):
    """The capture times of `count` photographs, and which burst each belongs to."""
    time, burst = datetime.datetime(2015, 1, 1, 9), 0
    while count > 0:
        length = min(count, 1 if chance.random() < 0.3 else chance.randint(2, 8))
        for _ in range(length):
            yield time, burst
            time += datetime.timedelta(milliseconds=chance.randint(100, 900))
        count -= length
        burst += 1
        time += datetime.timedelta(minutes=chance.randint(1, 400))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("count", type=int)
    parser.add_argument("sources", nargs="+")
    parser.add_argument("--width", type=int, default=160)
    parser.add_argument("--seed", type=int, default=1)
    given = parser.parse_args()
    chance = random.Random(given.seed)
    sources = []
    for path in given.sources:
        picture = Image.open(path).convert("RGB")
        height = given.width * picture.height // picture.width // 2 * 2
        sources.append(picture.resize((given.width + 8, height + 8)))
    for number, (time, burst) in enumerate(moments(given.count, chance)):
        folder = given.folder / f"{time:%Y}" / f"{time:%m}"
        folder.mkdir(parents=True, exist_ok=True)
        exif = tag_picture.exif({"date": f"{time:%Y:%m:%d %H:%M:%S}", "camera": "Generated Camera",
                                 "fraction": f"{time.microsecond // 1000:03}"})
        photograph(sources[burst % len(sources)], chance).save(
            folder / f"IMG_{number:07}.jpg", quality=chance.randint(80, 95), exif=b"Exif\0\0" + exif)


if __name__ == "__main__":
    main()
