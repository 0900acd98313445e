#!/usr/bin/env bash
# ovrell-patch end to end, on the example data set and on real files made
# here by the standard tools, judged by the formats' own checkers: zlib's
# CRC-32, e2fsck and blkid, pngcheck and a PNG decoder, tar. A patch of the
# informative bits alone (the mask of `ovrell -x`) fails those checkers;
# the program's output passes them and differs from it only in the
# checksum fields it lists.
#   patch_test.sh OVRELL-PATCH OVRELL SOURCE-DIR
set -uo pipefail
patch=$1 ovrell=$2 source=$3 failures=0
cd "$(mktemp -d)" && trap 'rm -rf "$PWD"' EXIT
fail() { echo "FAIL: $*"; failures=1; }

# bitsonly ATTRIBUTE PROJECT INPUT TARGET OUTPUT: INPUT with the bits of
# ovrell's -x mask of ATTRIBUTE taken from TARGET.
bitsonly() {
  "$ovrell" -p "$2" -x "$1" >mask || fail "ovrell -x $1"
  python3 - "$3" "$4" "$5" <<'PY' || fail "bitsonly $*"
import sys
mask = bytes.fromhex(open('mask').read())
a, b = open(sys.argv[1], 'rb').read(), open(sys.argv[2], 'rb').read()
open(sys.argv[3], 'wb').write(bytes((x & ~m | y & m) & 255 for x, y, m in zip(a, b, mask)))
PY
}

# same_except A B FIRST LAST: A and B differ nowhere outside bytes FIRST..LAST.
same_except() {
  python3 -c 'import sys; a, b = (open(f, "rb").read() for f in sys.argv[1:3]); f, l = (int(x, 0) for x in sys.argv[3:5])
sys.exit(len(a) != len(b) or a[:f] != b[:f] or a[l + 1:] != b[l + 1:])' "$@" || fail "$1 and $2 differ outside $3-$4"
}

# 1. The example: every X100 dump to X200 and X300 (to an X300 of the US
# too, the region's bits then set as well). The CRC-32 of bytes 0x00-0xfb
# stands little-endian at 0xfc. (What it prints is the README's example.)
examples=$source/examples
for input in "$examples"/dumps/x100-*.bin; do
  for target in X200 X300 X300-US; do
    model=${target%-*} region=${target#*-}
    model_file=$(ls "$examples"/dumps/"${model,,}"-*.bin | head -1)
    sets=(--set model=$model)
    [[ $region == US ]] && sets+=(--set region=US)
    "$patch" -p "$examples/project.txt" "${sets[@]}" -o out.bin "$input" >out 2>err ||
      fail "$input to $target: $(cat err)"
    bitsonly model "$examples/project.txt" "$input" "$model_file" bits.bin
    if [[ $region == US ]]; then
      bitsonly region "$examples/project.txt" bits.bin "$examples/dumps/x100-us-1.bin" bits.bin
    fi
    same_except out.bin bits.bin 0xfc 0xff
    python3 -c 'import sys, zlib; d = open("out.bin", "rb").read()
sys.exit(d[0xfc:] != zlib.crc32(d[:0xfc]).to_bytes(4, "little"))' || fail "$input to $target: CRC-32"
    python3 -c 'import sys, zlib; d = open("bits.bin", "rb").read()
sys.exit(d[0xfc:] == zlib.crc32(d[:0xfc]).to_bytes(4, "little"))' || fail "bits alone hold the CRC"
  done
done

# 2. ext4 images labelled alpha, beta and gamma, eight each (fewer let
# bits of the UUIDs and of the checksums seeded with them be the same in
# every file of each label by chance), each with its own UUID; the same time and hash seed, so that the label is all that
# tells the groups apart. An alpha image relabelled gamma: the superblock's
# CRC32C at 0x7fc covers the superblock from 0x400.
python3 -c 'import random, uuid; random.seed(7)
for i in range(24): print(uuid.UUID(int=random.getrandbits(128), version=4))' >uuids
{
  echo "file label"
  i=0
  while read -r id; do
    label=$(echo alpha beta gamma | cut -d' ' -f$((i % 3 + 1)))
    E2FSPROGS_FAKE_TIME=1700000000 mke2fs -q -F -t ext4 -L $label -U "$id" -b 1024 -N 16 \
      -E hash_seed=0b2d9a1c-7e4f-4b6a-9c3d-5e8f7a6b4c2d fs$i.img 128k >/dev/null 2>&1 ||
      fail "mke2fs $label"
    echo "fs$i.img $label"
    i=$((i + 1))
  done <uuids
} >fs.txt
"$patch" -p fs.txt --set label=gamma -o gamma.img fs0.img >out 2>err || fail "ext4: $(cat err)"
grep -q '^  .* at 0x000007fc-0x000007ff (little-endian) over 0x00000400-0x000007fb$' out ||
  fail "ext4: no superblock checksum in: $(cat out)"
e2fsck -fn gamma.img >/dev/null 2>&1 || fail "ext4: e2fsck -fn fails on the patched image"
[[ $(blkid -p -s LABEL -o value gamma.img) == gamma ]] || fail "ext4: not labelled gamma"
bitsonly label fs.txt fs0.img fs2.img bits.img
same_except gamma.img bits.img 0x7fc 0x7ff
e2fsck -fn bits.img >/dev/null 2>&1 && fail "ext4: e2fsck passes the bits alone"

# 3. PNGs of 8 x 8 pixels in red, green and blue, three each, stored
# deflate; the last row is noise, so that the checksums change inside a
# colour. A red one made green: pngcheck passes it and its pixels are green.
python3 - <<'PY'
import random, struct, zlib
def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
random.seed(5)
with open('png.txt', 'w') as project:
    project.write('file colour\n')
    for i in range(9):
        name, pixel = [('red', b'\xff\0\0'), ('green', b'\0\xff\0'), ('blue', b'\0\0\xff')][i % 3]
        rows = b''.join(b'\0' + pixel * 8 for _ in range(7))
        rows += b'\0' + bytes(random.randrange(256) for _ in range(24))
        ihdr = struct.pack('>IIBBBBB', 8, 8, 8, 2, 0, 0, 0)
        open(f'{i}.png', 'wb').write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', ihdr)
                                    + chunk(b'IDAT', zlib.compress(rows, 0)) + chunk(b'IEND', b''))
        project.write(f'{i}.png {name}\n')
PY
"$patch" -p png.txt --set colour=green -o green.png 0.png >out 2>err || fail "png: $(cat err)"
pngcheck -q green.png >/dev/null || fail "png: pngcheck fails on the patched image"
python3 -c 'import sys, zlib; d = open("green.png", "rb").read()
rows = zlib.decompress(d[41:d.index(b"IEND") - 8])
sys.exit(any(rows[r * 25 + 1:r * 25 + 25] != b"\0\xff\0" * 8 for r in range(7)))' ||
  fail "png: the pixels are not green"
bitsonly colour png.txt 0.png 1.png bits.png
pngcheck -q bits.png >/dev/null 2>&1 && fail "png: pngcheck passes the bits alone"
sed -n 's/^  .* at \(0x[0-9a-f]*\)-\(0x[0-9a-f]*\) .*/\1 \2/p' out >fields
grep -q '^  Adler-32 at 0x000000f8-0x000000fb (big-endian) over 0x00000030-0x000000f7$' out &&
  grep -q '^  CRC-32/ISO-HDLC at 0x000000fc-0x000000ff (big-endian) over 0x00000025-0x000000fb$' out ||
  fail "png: the IDAT chunk's Adler-32 and CRC-32 not recomputed"
python3 -c 'import sys; a, b = open("green.png", "rb").read(), open("bits.png", "rb").read()
fields = [tuple(int(x, 0) for x in line.split()) for line in open("fields")]
sys.exit(any(x != y and not any(f <= i <= l for f, l in fields) for i, (x, y) in enumerate(zip(a, b))))' ||
  fail "png: the output differs from the bits alone outside the checksums"

# 4. ustar archives of one member owned by u0, u1 or u2 (uids 1000, 2000,
# 3000), four each, their times apart: the header's checksum is the sum of
# its bytes, the field counted as blanks, in octal text at 148.
echo hello >m.txt
{
  echo "file owner"
  for i in $(seq 0 11); do
    tar --format=ustar --owner=u$((i % 3)):$((1000 + i % 3 * 1000)) --group=g:100 \
      --mtime=@$((1700000000 + i * 7919)) -cf t$i.tar m.txt
    echo "t$i.tar u$((i % 3))"
  done
} >tar.txt
"$patch" -p tar.txt --set owner=u2 -o u2.tar t0.tar >out 2>err || fail "tar: $(cat err)"
grep -qx '  32-bit sum of bytes at 0x00000094-0x0000009b (octal text) over 0x00000000-0x000001ff' out ||
  fail "tar: no header checksum in: $(cat out)"
[[ $(tar --numeric-owner -tvf u2.tar 2>&1) == '-rw-r--r-- 3000/100'*' m.txt' ]] ||
  fail "tar: $(tar --numeric-owner -tvf u2.tar 2>&1)"
bitsonly owner tar.txt t0.tar t2.tar bits.tar
tar -tf bits.tar >/dev/null 2>&1 && fail "tar: the bits alone pass"

# 5. A byte that changes between the files just before the set one and
# that nothing explains (no counter, time, text or random bytes) is warned
# about; the 16-byte files are zeros elsewhere.
python3 -c 'import sys
for i, x in enumerate([0x91, 0x17, 0xc3, 0x05, 0x77, 0x3e]):
    open(f"w{i}.bin", "wb").write(bytes(4) + bytes([x, 255 * (i % 2)]) + bytes(10))
open("w.txt", "w").write("file a\n" + "".join(f"w{i}.bin {i % 2}\n" for i in range(6)))'
"$patch" -p w.txt --set a=1 -o w.out w0.bin >out 2>&1
cat >want <<'EOF2'
changed bytes:
  0x00000005              00 -> ff
checksums recomputed: none
warning: bytes 0x00000004 next to a changed byte change between the files and nothing explains them: if they depend on the changed bytes (a checksum nobody found), the output is wrong
EOF2
diff want out || fail "the warning before a changed byte"

# 6. Refusals: a message, status 1, and no file written.
p=$examples/project.txt x100=$examples/dumps/x100-eu-1.bin
printf 'file all model\n' >one.txt
for f in "$examples"/dumps/*.bin; do echo "$f s $(basename "$f" | cut -c1-4)"; done >>one.txt
head -c 255 "$x100" >short.bin
refuse() {
  local want=$1
  shift
  rm -f out.bin
  "$patch" "$@" >out 2>err
  local status=$?
  [[ $status == 1 && $(cat err) == "$want" && ! -e out.bin && ! -s out ]] ||
    fail "$* gave status $status, [$(cat err)], not [$want]"
}
refuse "ovrell-patch: the attribute 'model' has no group 'X400'; its groups are X100, X200, X300" \
  -p "$p" --set model=X400 -o out.bin "$x100"
refuse "ovrell-patch: the input file 'short.bin' is 255 bytes long, the project's files 256" \
  -p "$p" --set model=X200 -o out.bin short.bin
refuse "ovrell-patch: cannot read the input file 'none.bin': No such file or directory" \
  -p "$p" --set model=X200 -o out.bin none.bin
refuse "the argument ('model') for option '--set' is invalid
try \`$patch -h' for more information." -p "$p" --set model -o out.bin "$x100"
refuse "ovrell-patch: files of 256 bytes are held 3 times in memory, which the memory limit of 700 bytes does not allow; use a larger -m" \
  -p "$p" -m 700 --set model=X200 -o out.bin "$x100"
refuse 'Attribute "colour" is not specified in the project file.' \
  -p "$p" --set colour=red -o out.bin "$x100"
refuse "the attribute 'model' is set twice
try \`$patch -h' for more information." -p "$p" --set model=X200 --set model=X300 -o out.bin "$x100"
refuse "ovrell-patch: the attribute 'all' has no informative bit: no bit is the same in every file of each group and different between groups; nothing was written" \
  -p one.txt --set all=s -o out.bin "$x100"
cp "$x100" in.bin
for output in in.bin "$p" "$x100"; do
  "$patch" -p "$p" --set model=X200 -o "$output" in.bin >out 2>err && fail "-o $output accepted"
  grep -q "^ovrell-patch: .* is the .*\(input\|project\|data\) file" err || fail "-o $output: $(cat err)"
done
cmp -s in.bin "$x100" || fail "the input was written"
ls | grep -q tmp && fail "a temporary file was left: $(ls)"

# 7. A full file system: no output and no temporary file.
if [[ $(id -u) == 0 ]] && unshare -m true 2>/dev/null; then
  mkdir full
  unshare -m sh -c 'mount -t tmpfs -o size=64k tmpfs full && "$0" -p fs.txt --set label=beta \
    -o full/out.img fs0.img >out 2>err; echo $? >status; ls -A full >left' "$patch"
  [[ $(cat status) == 1 && ! -s left && ! -s out ]] ||
    fail "full: status $(cat status), left [$(cat left)], printed [$(cat out)]"
  grep -q "^ovrell-patch: cannot write .*full/out.img.*No space left on device" err ||
    fail "full: $(cat err)"
fi
exit $failures
