#!/usr/bin/env python3
"""Makes one set of real files with the standard tools, each file with one
setting varied, and its project file project.txt.
    make_set.py SET DIR
SET: ext4, png, zip, fat, gzip, tar, wav, random. Everything is seeded, so
the same set comes out each time."""
import os, random, struct, subprocess, sys, uuid, wave, zlib

kind, out = sys.argv[1], sys.argv[2]
os.makedirs(out, exist_ok=True)
os.chdir(out)
rng = random.Random(kind)
rows = []


def run(*argv, **kw):
    subprocess.run(argv, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **kw)


if kind == 'ext4':
    # Twelve 1 MiB images, four of each label, each with its own UUID.
    env = dict(os.environ, E2FSPROGS_FAKE_TIME='1700000000')
    for i in range(12):
        label = ('alpha', 'beta', 'gamma')[i % 3]
        run('mke2fs', '-q', '-F', '-t', 'ext4', '-L', label, '-U',
            str(uuid.UUID(int=rng.getrandbits(128), version=4)),
            '-E', 'hash_seed=0b2d9a1c-7e4f-4b6a-9c3d-5e8f7a6b4c2d', f'fs{i}.img', '1M', env=env)
        rows.append((f'fs{i}.img', label))
    attribute = 'label'
elif kind == 'png':
    # 16x4 RGB images of one colour each, the deflate stream stored (level 0).
    def chunk(t, d):
        return struct.pack('>I', len(d)) + t + d + struct.pack('>I', zlib.crc32(t + d))
    for i in range(12):
        colour = ('red', 'green', 'blue', 'grey')[i % 4]
        rgb = {'red': (200, 0, 0), 'green': (0, 200, 0), 'blue': (0, 0, 200), 'grey': (90, 90, 90)}[colour]
        pixels = bytearray()
        for y in range(4):
            pixels += b'\0' + bytes(c ^ rng.getrandbits(3) for _ in range(16) for c in rgb)
        with open(f'p{i}.png', 'wb') as f:
            f.write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 16, 4, 8, 2, 0, 0, 0))
                    + chunk(b'IDAT', zlib.compress(bytes(pixels), 0)) + chunk(b'IEND', b''))
        rows.append((f'p{i}.png', colour))
    attribute = 'colour'
elif kind == 'zip':
    # One stored member of 64 bytes, its text drawn afresh in each archive.
    for i in range(12):
        os.makedirs('m', exist_ok=True)
        with open('m/data.txt', 'w') as f:
            f.write(''.join(rng.choice('abcdefghijklmnop') for _ in range(63)) + '\n')
        os.utime('m/data.txt', (1700000000, 1700000000))
        run('zip', '-0', '-X', '-q', f'../z{i}.zip', 'data.txt', cwd='m')
        rows.append((f'z{i}.zip', ('small', 'large')[i % 2]))
    attribute = 'size'
elif kind == 'fat':
    # 1 MiB FAT12 volumes, each with its own serial (no label: its entry in
    # the root directory would hold the time of day).
    for i in range(12):
        serial = rng.getrandbits(32)
        run('mkfs.fat', '-C', '-F', '12', '-i', f'{serial:08x}', f'v{i}.img', '1024')
        rows.append((f'v{i}.img', str(serial)))
    attribute = 'serial'
elif kind == 'gzip':
    # Text of random words, compressed to 391 bytes (texts that compress to
    # another length are drawn again), each file with its own MTIME.
    words = ['alpha', 'beta', 'gamma', 'delta', 'omega', 'sigma', 'kappa', 'theta']
    while len(rows) < 12:
        with open('data', 'w') as f:
            f.write(' '.join(rng.choice(words) for _ in range(400)))
        mtime = 1700000000 + 86400 * len(rows) + rng.getrandbits(16)
        os.utime('data', (mtime, mtime))
        name = f'g{len(rows)}.gz'
        with open(name, 'wb') as f:
            subprocess.run(['gzip', '-c', '-9', 'data'], check=True, stdout=f)
        if os.path.getsize(name) == 391:
            rows.append((name, str(mtime)))
    attribute = 'mtime'
elif kind == 'tar':
    # One member of 100 bytes; the owner (and its uid) and the time vary.
    with open('member', 'w') as f:
        f.write('x' * 100)
    for i in range(12):
        mtime = 1700000000 + 3600 * i + rng.getrandbits(10)
        run('tar', '--format=ustar', '-cf', f't{i}.tar', f'--mtime=@{mtime}',
            f'--owner={("alice", "bob", "carol")[i % 3]}:{1000 + i % 3}', '--group=users:100',
            '--mode=644', 'member')
        rows.append((f't{i}.tar', f'{("alice", "bob", "carol")[i % 3]} {1000 + i % 3} {mtime}'))
    attribute = 'owner uid mtime'
elif kind == 'wav':
    for i in range(12):
        rate = (8000, 16000, 44100)[i % 3]
        with wave.open(f'w{i}.wav', 'wb') as w:
            w.setnchannels(1)
            w.setsampwidth(2)
            w.setframerate(rate)
            w.writeframes(bytes(rng.getrandbits(8) for _ in range(512)))
        rows.append((f'w{i}.wav', str(rate)))
    attribute = 'rate'
elif kind == 'random':
    for i in range(12):
        with open(f'r{i}.bin', 'wb') as f:
            f.write(bytes(rng.getrandbits(8) for _ in range(4096)))
        rows.append((f'r{i}.bin', str(i % 3)))
    attribute = 'group'
with open('project.txt', 'w') as f:
    f.write(f'file {attribute}\n' + ''.join(f'{a} {b}\n' for a, b in rows))
