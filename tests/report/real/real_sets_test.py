#!/usr/bin/env python3
"""ovrell-report on sets of real files made here by the standard tools
(make_set.py), each with one setting varied. What it claims about the bytes
that change is compared line by line with the layout each format documents;
bytes it leaves unexplained are not listed. Random bytes, compressed data
and checksums of anything but the file's own bytes must claim nothing.
    real_sets_test.py OVRELL-REPORT [SET ...]"""
import json, os, subprocess, sys, tempfile

CRC32C = 'poly=0x1edc6f41 init=0xffffffff refin=True refout=True xorout=0x00000000'
CRC32 = 'poly=0x04c11db7 init=0xffffffff refin=True refout=True xorout=0xffffffff'
EXPECTED = {
    # Superblock at 0x400: s_uuid at 0x68 (16 bytes), s_volume_name at 0x78,
    # s_checksum at 0x3fc, the CRC32C (no final XOR) of the bytes before it.
    # Group descriptor, bitmap, inode and directory checksums are seeded
    # with the UUID: no byte range explains them. (The label's region is not
    # read as its text: "beta" is shorter, its NUL not printable.)
    'ext4': f'''\
0x468-0x477 random
0x478-0x47c value  label, text
0x7fc-0x7ff checksum  CRC-32C, no final XOR, little-endian, of 0x400-0x7fb {CRC32C}
label 0x478-0x47c''',
    # IDAT at 0x21: length, type at 0x25, zlib header at 0x29, one stored
    # block (header 0x2b-0x2f, data 0x30-0xf3), Adler-32 of the data (big-
    # endian), then the chunk's CRC-32 of type and data, 0x25-0xf7. The
    # pixels tell the colours; the Adler-32's bits that do are its.
    'png': f'''\
0xf4-0xf7 checksum  Adler-32, big-endian, of 0x30-0xf3
0xf8-0xfb checksum  CRC-32, big-endian, of 0x25-0xf7 {CRC32}
colour 0x31-0x60
colour 0x62-0x91
colour 0x93-0xc2
colour 0xc4-0xf4
colour 0xf6-0xf6 from checksum''',
    # Local header (30 bytes) and name (8): the CRC-32 at 14 of the stored
    # data at 0x26-0x65, before it; the central directory's copy at 0x66+16.
    'zip': f'''\
0xe-0x11 checksum  CRC-32, little-endian, of 0x26-0x65 {CRC32}
0x26-0x64 text
0x76-0x79 checksum  CRC-32, little-endian, of 0x26-0x65 {CRC32}''',
    # The boot sector's volume serial at 0x27 (FAT12/16), little-endian.
    'fat': '''\
0x27-0x2a value  serial, u32le
serial 0x27-0x2a = u32le 0x27-0x2a''',
    # MTIME at 4, little-endian; the deflate body and the trailer's CRC-32
    # of the uncompressed data explain nothing of the file's bytes.
    'gzip': '''\
0x4-0x7 value  mtime, u32le
mtime 0x4-0x6 = u32le 0x4-0x7
mtime 0xf-0x183''',
    # ustar: uid at 108 (octal: its last digit alone changes, too little to
    # show it holds the uid), mtime at 136 (11 octal digits), chksum at 148
    # (the byte sum of the header with the field as blanks, six octal
    # digits, NUL, blank), uname at 265. (Regions are not read as octal.)
    'tar': '''\
0x72-0x72 text
0x88-0x92 value  mtime, ascii-oct
0x94-0x9b checksum  32-bit sum of bytes, octal text, of 0x0-0x1ff, the field read as blanks
0x109-0x10d value  owner, text
owner 0x72-0x72
owner 0x97-0x97 from checksum
owner 0x109-0x10d
uid 0x72-0x72
uid 0x97-0x97 from checksum
uid 0x109-0x10d
mtime 0x72-0x72
mtime 0x8c-0x92
mtime 0x97-0x99 from checksum
mtime 0x109-0x10d''',
    # RIFF header: sample rate u32le at 24, byte rate (twice it) at 28;
    # random samples from 44, whose informative bits are chance.
    'wav': '''\
0x18-0x1b value  rate, u32le
0x2c-0x22b random
rate 0x18-0x19 = u32le 0x18-0x1b
rate 0x1c-0x1e''',
    'random': '0x0-0xfff random',
}


def claims(report):
    """The explained fields but the unexplained ones, a CRC's parameters
    after it; then the regions of each attribute but those of chance, with
    whether they lie in a checksum or read as the groups' own values."""
    lines = []
    for e in report['explained']:
        if e['kind'] != 'unexplained':
            crc = ''.join(f' {k}={v}' for k, v in e.get('crc', {}).items())
            lines.append(f"{e['first_byte']:#x}-{e['last_byte']:#x} "
                         + (e['description'] if e['kind'] != 'text' else 'text') + crc)
    for a in report['attributes']:
        for r in a['regions']:
            if not r.get('likely_chance'):
                d = r.get('decoded') or {}
                lines.append(f"{a['name']} {r['first_byte']:#x}-{r['last_byte']:#x}"
                             + (' from checksum' if r.get('from_checksum') else '')
                             + (f" = {d['encoding']} {d['first_byte']:#x}-{d['last_byte']:#x}"
                                if d.get('is_value') else ''))
    return '\n'.join(lines)


failures = 0
binary, sets = sys.argv[1], sys.argv[2:] or list(EXPECTED)
here = os.path.dirname(os.path.abspath(__file__))
with tempfile.TemporaryDirectory() as tmp:
    for name in sets:
        directory = os.path.join(tmp, name)
        subprocess.run([sys.executable, os.path.join(here, 'make_set.py'), name, directory], check=True)
        run = subprocess.run([binary, '-p', os.path.join(directory, 'project.txt'), '--json', '-'],
                             capture_output=True, text=True)
        report = json.loads(run.stdout)
        got = claims(report)
        if run.returncode != 0 or run.stderr or got != EXPECTED[name]:
            failures += 1
            print(f'FAIL {name}: status {run.returncode} {run.stderr}\n--- expected\n{EXPECTED[name]}\n--- got\n{got}')
sys.exit(1 if failures else 0)
