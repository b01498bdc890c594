"""Cuts files at several places into cut/, and damages a bit of the data of each copy in damaged/FILE/."""
import os
import sys

for name in sys.argv[1:]:
    file = open(name, "rb").read()
    for percent in (1, 5, 10, 25, 50, 75, 90, 99):
        open(f"cut/{percent}-{name}", "wb").write(file[:len(file) * percent // 100])
    os.mkdir(f"damaged/{name}")
    open(f"damaged/{name}/whole-{name}", "wb").write(file)
    start = file.index(b"mdat") + 4
    for i in range(60):
        damaged = bytearray(file)
        damaged[start + (len(file) - start) * i // 60] ^= 1 << i % 8
        open(f"damaged/{name}/{i}-{name}", "wb").write(damaged)
