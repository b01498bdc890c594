"""Adds Exif data with an orientation to a JPEG file: exif.py ORIENTATION <JPEG >JPEG"""
import struct
import sys

tiff = b"MM\0*" + struct.pack(">IHHHIHHI", 8, 1, 0x112, 3, 1, int(sys.argv[1]), 0, 0)
data = b"Exif\0\0" + tiff
jpeg = sys.stdin.buffer.read()
sys.stdout.buffer.write(jpeg[:2] + struct.pack(">HH", 0xFFE1, 2 + len(data)) + data + jpeg[2:])
