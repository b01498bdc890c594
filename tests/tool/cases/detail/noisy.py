"""Writes a grey picture with other light and with noise: noisy.py IN.pgm OUT.pgm GAIN DEVIATION."""
import random
import sys

source, target, gain, deviation = sys.argv[1:]
head, size, depth, pixels = open(source, "rb").read().split(b"\n", 3)
random.seed(5)
changed = bytes(min(max(round(p * float(gain) + random.gauss(0, float(deviation))), 0), 255)
                for p in pixels)
open(target, "wb").write(b"\n".join([head, size, depth, changed]))
