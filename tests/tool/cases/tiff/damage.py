"""Cuts TIFF files at several places into cut/, and damages their bytes into damaged/."""
import subprocess

FORMS = ("compression=1", "compression=5", "compression=8 rows=16", "compression=32773", "compression=7",
         "compression=7 photometric=ycbcr", "compression=4 bits=1", "compression=3 bits=1",
         "compression=34887", "compression=34925", "compression=50000",
         "compression=50001 photometric=rgb", "compression=34661 bits=1", "tile=32 bits=16 compression=5",
         "photometric=palette compression=5")

for number, form in enumerate(FORMS):
    file = subprocess.run(["media", "160x120", "as=libtiff", *form.split()], capture_output=True).stdout
    for percent in (1, 10, 25, 50, 75, 90, 99):
        name = f"{number}-{percent}.tif"
        open("cut/" + name, "wb").write(file[:len(file) * percent // 100])
        damaged = bytearray(file)
        for at in range(percent, len(file), len(file) // 7 + percent * percent):
            damaged[at] ^= percent
        open("damaged/" + name, "wb").write(damaged)
