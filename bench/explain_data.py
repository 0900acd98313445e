#!/usr/bin/env python3
"""Writes the explanation benchmark's capture set (E1) and its project file.

    explain_data.py DIR SIZE

writes DIR/e1_<i>.bin for i = 0 .. 15, SIZE bytes each (at least 16 MiB;
a number with an optional K, M or G suffix), then DIR/e1.txt with the
attributes model (four groups of four files) and serial (each file its own).
Every file is one random base file with these changes, each page 4 KiB:

    0x100           the model, one byte (informative)
    0x200-0x203     the file's serial, u32le (a value of the project)
    0x300-0x30f     16 random bytes per file (random)
    0x400-0x403     a counter with the files' order, u32be
    1 MiB           a page whose first 64 bytes vary per file, then its
                    CRC-32 (zlib), little-endian
    4 MiB           the CRC-16/IBM-3740 (big-endian) of the page after it
    8 MiB           a page, then its Adler-32, big-endian
    12 MiB          a page, then the 16-bit sum of its bytes, little-endian

The same arguments always give the same bytes. The project file is written
last, so its presence says that the set is complete.
"""
import random
import struct
import sys
import zlib

FILES, GROUPS, PAGE = 16, 4, 4096
MIB = 1 << 20


def size_of(text):
    scale = {"K": 1 << 10, "M": 1 << 20, "G": 1 << 30}.get(text[-1:].upper(), 1)
    return int(text[:-1] if scale > 1 else text) * scale


def crc16_ibm3740(data):
    reg = 0xFFFF
    for byte in data:
        reg ^= byte << 8
        for _ in range(8):
            reg = ((reg << 1) ^ 0x1021) & 0xFFFF if reg & 0x8000 else (reg << 1) & 0xFFFF
    return reg


def varied_page(base, at, rng):
    page = bytearray(base[at:at + PAGE])
    page[:64] = rng.randbytes(64)
    return page


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    directory, size = sys.argv[1], size_of(sys.argv[2])
    if size < 16 * MIB:
        sys.exit("explain_data.py: SIZE must be at least 16M")
    rng = random.Random(2026)
    base = rng.randbytes(size)
    lines = ["file model serial"]
    for i in range(FILES):
        data = bytearray(base)
        serial = 1000003 * (i + 1)
        data[0x100] = i % GROUPS
        data[0x200:0x204] = struct.pack("<I", serial)
        data[0x300:0x310] = rng.randbytes(16)
        data[0x400:0x404] = struct.pack(">I", 7 + 3 * i)
        page = varied_page(base, MIB, rng)
        data[MIB:MIB + PAGE] = page
        data[MIB + PAGE:MIB + PAGE + 4] = struct.pack("<I", zlib.crc32(page))
        page = varied_page(base, 4 * MIB + 2, rng)
        data[4 * MIB + 2:4 * MIB + 2 + PAGE] = page
        data[4 * MIB:4 * MIB + 2] = struct.pack(">H", crc16_ibm3740(page))
        page = varied_page(base, 8 * MIB, rng)
        data[8 * MIB:8 * MIB + PAGE] = page
        data[8 * MIB + PAGE:8 * MIB + PAGE + 4] = struct.pack(">I", zlib.adler32(page))
        page = varied_page(base, 12 * MIB, rng)
        data[12 * MIB:12 * MIB + PAGE] = page
        data[12 * MIB + PAGE:12 * MIB + PAGE + 2] = struct.pack("<H", sum(page) & 0xFFFF)
        name = "e1_%d.bin" % i
        with open("%s/%s" % (directory, name), "wb") as out:
            out.write(data)
        lines.append("%s m%d %d" % (name, i % GROUPS, serial))
    with open("%s/e1.txt" % directory, "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
