#!/usr/bin/env python3
"""Draws people that a face detector takes for such, on a textured ground.

usage: draw_faces.py WIDTHxHEIGHT NOISE [X,Y,SIZE,OPEN,SMILE]... >FILE.pgm

Each face has its middle at X,Y and is SIZE from there to its ears; OPEN (eyes) and SMILE are 0 to 1.
NOISE is the strength of the ground's grain, by which frames differ in sharpness.
"""
import math
import random
import sys


def bump(u, v, width, height):
    return math.exp(-((u / width) ** 2 + (v / height) ** 2))


def eye(u, v, opened):
    """What an eye adds to the skin, and what stands in its place."""
    along = u / 0.17
    if abs(along) >= 1:
        return 0, None
    half = 0.085 * (1 - along * along)
    top, bottom = -0.22 - half * (2 * opened - 0.9), -0.22 + half * 0.9
    white = None
    if top < v < bottom:
        radius = math.hypot(u, v + 0.225)
        white = 15 if radius < 0.035 else 60 if radius < 0.075 else 235
    lids = 120 * math.exp(-((v - top) / 0.018) ** 2) + 50 * math.exp(-((v - bottom) / 0.014) ** 2)
    return -lids * (1 - 0.3 * abs(along)), white


def mouth(u, v, smile):
    width = 0.30 + 0.14 * smile
    if abs(u) >= width:
        return 0
    middle, thick = v - 0.60 + smile * 0.10 * (u / width) ** 2, 1 - (u / width) ** 2
    return -(60 * math.exp(-((middle + 0.035 * thick) / 0.035) ** 2)
             + 110 * math.exp(-(middle / 0.018) ** 2)
             + 45 * math.exp(-((middle - 0.05 * thick) / 0.035) ** 2))


def skin(u, v, opened, smile):
    value = 195 - 45 * (abs(u) / 0.8) ** 2 - 18 * max(0, v)
    value -= 95 * (bump(u - 0.1, v - 0.26, 0.055, 0.035) + bump(u + 0.1, v - 0.26, 0.055, 0.035))
    value -= 25 * bump(u, v - 0.3, 0.16, 0.04) + 20 * bump(u, v - 0.8, 0.2, 0.04)
    if -0.2 < v < 0.25:  # the sides and the back of the nose
        value += 14 * math.exp(-(u / 0.05) ** 2) - 20 * math.exp(-((abs(u) - 0.1) / 0.05) ** 2)
    for side in (-0.36, 0.36):
        w = u - side
        value -= 32 * bump(w, v + 0.22, 0.22, 0.12)
        if abs(w) < 0.25:
            value -= 110 * math.exp(-((v + 0.45 - 0.7 * w * w) / 0.045) ** 2)
        lids, white = eye(w, v, opened)
        value = (value if white is None else white) + lids
    return value + mouth(u, v, smile)


def draw(pixels, width, height, x0, y0, size, opened, smile):
    for y in range(max(0, int(y0 - 1.6 * size)), min(height, int(y0 + 1.2 * size))):
        for x in range(max(0, int(x0 - size)), min(width, int(x0 + size))):
            u, v = (x - x0) / size, (y - y0) / size
            if (u / 0.98) ** 2 + ((v + 0.25) / 1.2) ** 2 < 1:
                pixels[y][x] = 35 + 6 * math.sin(x * 0.9)  # hair
            oval = (u / 0.8) ** 2 + (v / 1.1) ** 2
            if oval < 1 and v > -0.85:
                share = min(1, (1 - oval) / 0.07)
                pixels[y][x] += share * (skin(u, v, opened, smile) - pixels[y][x])


def main():
    width, height = map(int, sys.argv[1].split("x"))
    grain, noise = float(sys.argv[2]), random.Random(1)
    pixels = [[90 + 30 * math.sin(x / 37) + 15 * math.sin(y / 23 + x / 61) + grain * noise.gauss(0, 1)
               for x in range(width)] for y in range(height)]
    for face in sys.argv[3:]:
        draw(pixels, width, height, *map(float, face.split(",")))
    sys.stdout.buffer.write(b"P5\n%d %d\n255\n" % (width, height))
    sys.stdout.buffer.write(bytes(max(0, min(255, round(v))) for row in pixels for v in row))


main()
