"""Adds Exif data to a JPEG file, and XMP: exif.py ORIENTATION [BURST] <JPEG >JPEG"""
import struct
import sys


def segment(data):
    return struct.pack(">HH", 0xFFE1, 2 + len(data)) + data


make = b"Kelvane\0"
exif = b"MM\0*" + struct.pack(">IHHHIIHHIHHI", 8, 2, 0x10F, 2, len(make), 38, 0x112, 3, 1,
                              int(sys.argv[1]), 0, 0) + make
added = segment(b"Exif\0\0" + exif)
for burst in sys.argv[2:]:
    added += segment(b"http://ns.adobe.com/xap/1.0/\0" + f"""<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF
        xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about=""
        xmlns:GCamera="http://ns.google.com/photos/1.0/camera/" GCamera:BurstID="{burst}"/></rdf:RDF>
        </x:xmpmeta>""".encode())
jpeg = sys.stdin.buffer.read()
sys.stdout.buffer.write(jpeg[:2] + added + jpeg[2:])
