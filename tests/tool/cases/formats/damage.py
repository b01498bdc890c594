"""Cuts a picture of every format at several places into cut/, and damages its bytes into damaged/."""
import subprocess

for form in "pnm png jpeg jpeg422 jpeg444 png-rgb png-rgba png-rgb48".split():
    file = subprocess.run(["media", "160x121", "as=" + form], capture_output=True).stdout
    for percent in (1, 10, 25, 50, 75, 90, 99):
        name = f"{form}-{percent}.pnm"
        open("cut/" + name, "wb").write(file[:len(file) * percent // 100])
        damaged = bytearray(file)
        for at in range(percent, len(file), len(file) // 7 + percent * percent):
            damaged[at] ^= percent
        open("damaged/" + name, "wb").write(damaged)
