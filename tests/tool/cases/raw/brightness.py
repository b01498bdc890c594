"""How far a.ppm is from every other pixel of a.pgm, whose values are light, in sRGB, where the scene is even."""


def pixels(name, size):
    return open(name, "rb").read()[-size:]


def srgb(light):
    return 255 * (12.92 * light if light <= .0031308 else 1.055 * light ** (1 / 2.4) - .055)


picture, scene = pixels("a.ppm", 160 * 120 * 3), pixels("a.pgm", 320 * 240)
differences = []
for y in range(120):
    for x in range(160):
        four = [scene[(2 * y + v) * 320 + 2 * x + h] for v in (0, 1) for h in (0, 1)]
        if min(four) == max(four):
            differences.append(abs(picture[(y * 160 + x) * 3 + 1] - srgb(four[0] / 255)))
print(len(differences) > 5000, sum(differences) / len(differences) < 1)
