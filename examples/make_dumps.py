#!/usr/bin/env python3
"""Writes the example data set: twelve 256-byte configuration records.

Each dump imitates the configuration block of a small device. A few fields
depend on the device's model (X100, X200, X300) or on its sales region
(EU, US), a few are the same in every dump, and the rest (serial number,
device part of the MAC address, boot counter, calibration table, checksum)
varies from dump to dump. README.md beside this script lists every planted
bit.

The output is deterministic (fixed seed, standard library only) and is
committed, so nobody needs to run this script to try the tool. Running it
again rewrites dumps/*.bin and project.txt with the same bytes.

The random fields are drawn so that no random bit happens to be uniform
inside every model group or inside every region group; the script checks at
the end that the bits common to each attribute's groups are exactly the
planted ones, and fails otherwise.
"""

import os
import random
import zlib

SEED = 20240611
SIZE = 256

MODELS = ["X100", "X200", "X300"]
REGIONS = ["EU", "US"]
UNITS_PER_PAIR = 2  # dumps per (model, region) pair

# Per-model and per-region field values.
MODEL_ID = {"X100": 0x01, "X200": 0x02, "X300": 0x03}
RAM_KIB = {"X100": 256, "X200": 512, "X300": 1024}
REGION_LETTER = {"EU": ord("E"), "US": ord("U")}
MAINS_HZ = {"EU": 50, "US": 60}
RADIO_CHANNELS = {"EU": 13, "US": 11}

FLAG_60HZ = 0x01  # region US
FLAG_X300_US = 0x08  # model X300 sold in the US: depends on both attributes
FLAG_BATTERY = 0x40  # model X100
FLAG_RADIO = 0x80  # models X200 and X300

# Byte ranges (start, end) that hold random data.
RANDOM_RANGES = [
    (0x08, 0x10),  # serial number
    (0x13, 0x16),  # device part of the MAC address
    (0x1C, 0x20),  # boot counter
    (0x20, 0xF0),  # calibration table
]
CRC_OFFSET = 0xFC


def record(model, region, rng):
    """One configuration record with its random fields drawn from rng."""
    data = bytearray(SIZE)
    data[0x00:0x04] = b"OVCF"  # magic
    data[0x04] = 0x03  # layout version
    data[0x05] = MODEL_ID[model]
    data[0x06] = REGION_LETTER[region]
    flags = 0
    if region == "US":
        flags |= FLAG_60HZ
    if model == "X300" and region == "US":
        flags |= FLAG_X300_US
    if model == "X100":
        flags |= FLAG_BATTERY
    else:
        flags |= FLAG_RADIO
    data[0x07] = flags
    data[0x10:0x13] = bytes([0x02, 0x4F, 0x56])  # MAC vendor prefix
    data[0x16:0x18] = MAINS_HZ[region].to_bytes(2, "little")
    data[0x18:0x1A] = RAM_KIB[model].to_bytes(2, "big")
    data[0x1A] = RADIO_CHANNELS[region]
    for start, end in RANDOM_RANGES:
        for offset in range(start, end):
            data[offset] = rng.getrandbits(8)
    # 0xF0 to 0xFB stay zero (reserved); the CRC is filled in later.
    return data


def bit(data, offset, j):
    return (data[offset] >> j) & 1


def uniform_in_groups(dumps, groups, offset, j):
    """True when every group has one value at bit j of byte offset."""
    for members in groups.values():
        if len({bit(dumps[i], offset, j) for i in members}) > 1:
            return False
    return True


def common_bits(dumps, groups):
    """Per byte, the mask of bits uniform inside every group."""
    mask = bytearray(SIZE)
    for offset in range(SIZE):
        for j in range(8):
            if uniform_in_groups(dumps, groups, offset, j):
                mask[offset] |= 1 << j
    return mask


def constant_bits(dumps):
    """Per byte, the mask of bits equal in all dumps."""
    return common_bits(dumps, {"all": range(len(dumps))})


def set_crc(data):
    crc = zlib.crc32(bytes(data[:CRC_OFFSET]))
    data[CRC_OFFSET:SIZE] = crc.to_bytes(4, "little")


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    rng = random.Random(SEED)

    units = []  # (file name, model, region)
    for model in MODELS:
        for region in REGIONS:
            for n in range(1, UNITS_PER_PAIR + 1):
                name = "dumps/%s-%s-%d.bin" % (model.lower(), region.lower(), n)
                units.append((name, model, region))
    dumps = [record(model, region, rng) for _, model, region in units]
    attributes = {
        "model": {m: [i for i, u in enumerate(units) if u[1] == m] for m in MODELS},
        "region": {r: [i for i, u in enumerate(units) if u[2] == r] for r in REGIONS},
    }

    random_positions = [
        (offset, j) for start, end in RANDOM_RANGES for offset in range(start, end) for j in range(8)
    ]
    crc_positions = [(offset, j) for offset in range(CRC_OFFSET, SIZE) for j in range(8)]

    def accidental(positions):
        return [
            (offset, j)
            for offset, j in positions
            if any(uniform_in_groups(dumps, g, offset, j) for g in attributes.values())
        ]

    # Redraw random bits that came out uniform inside the groups of an
    # attribute; a checksum bit that does so is cured by changing one more
    # calibration bit, which changes every checksum.
    while True:
        for offset, j in accidental(random_positions):
            for data in dumps:
                data[offset] = (data[offset] & ~(1 << j)) | (rng.getrandbits(1) << j)
        for data in dumps:
            set_crc(data)
        if accidental(random_positions):
            continue
        if not accidental(crc_positions):
            break
        offset = rng.randrange(0x20, 0xF0)
        victim = dumps[rng.randrange(len(dumps))]
        victim[offset] ^= 1 << rng.randrange(8)

    # The planted bits, as README.md lists them (offset: mask).
    planted = {
        "model": {0x05: 0x03, 0x07: 0xC0, 0x18: 0x07},
        "region": {0x06: 0x10, 0x07: 0x01, 0x16: 0x0E, 0x1A: 0x06},
    }
    constant = constant_bits(dumps)
    for attribute, groups in attributes.items():
        found = common_bits(dumps, groups)
        for offset in range(SIZE):
            expected = constant[offset] | planted[attribute].get(offset, 0)
            if found[offset] != expected:
                raise SystemExit(
                    "%s: byte 0x%02X has common bits %02X, expected %02X"
                    % (attribute, offset, found[offset], expected)
                )

    os.makedirs(os.path.join(here, "dumps"), exist_ok=True)
    for (name, _, _), data in zip(units, dumps):
        with open(os.path.join(here, name), "wb") as f:
            f.write(data)
    width = max(len(name) for name, _, _ in units)
    with open(os.path.join(here, "project.txt"), "w", newline="\n") as f:
        f.write("# Twelve device configuration dumps: three models, two sales regions.\n")
        f.write("# Paths are relative to this file; make_dumps.py writes it.\n")
        f.write("%-*s  %-5s  %s\n" % (width, "file", "model", "region"))
        for name, model, region in units:
            f.write("%-*s  %-5s  %s\n" % (width, name, model, region))


if __name__ == "__main__":
    main()
