"""Reads each file cut at many places, and with a few bytes replaced."""
import pathlib
import random
import subprocess

random.seed(1)
for path in sorted(pathlib.Path().glob("[1-9].*")):
    whole = path.read_bytes()
    sizes = range(0, len(whole), max(1, len(whole) // 200))
    damaged = [whole[:size] for size in sizes]
    for _ in range(200):
        copy = bytearray(whole)
        for _ in range(random.randint(1, 8)):
            copy[random.randrange(len(copy))] = random.choice((0, 1, 0x7F, 0x80, 0xFF))
        damaged.append(copy)
    for number, content in enumerate(damaged):
        pathlib.Path(f"damaged{number}").write_bytes(content)
    subprocess.run(["media", "metadata", *map(str, pathlib.Path().glob("damaged*"))], check=True,
                   stdout=subprocess.DEVNULL, timeout=60)
