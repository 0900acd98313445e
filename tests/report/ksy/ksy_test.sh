#!/usr/bin/env bash
# ovrell-report --ksy end to end: the description of the example data set,
# of ext4 images made here, and of a project whose names are no
# identifiers, compiled by the Kaitai Struct compiler and read back by the
# generated JavaScript parser over every file (check_ksy.js). Skipped
# (status 77) without node, the compiler, its runtime and js-yaml, which
# tools/setup.sh installs in /opt/ovrell-kaitai (KAITAI_MODULES: another
# node_modules).
#   ksy_test.sh OVRELL-REPORT SOURCE-DIR
set -uo pipefail
report=$1 source=$2 failures=0
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export NODE_PATH=${KAITAI_MODULES:-/opt/ovrell-kaitai/node_modules}
if ! command -v node >/dev/null ||
  ! node -e 'for (const m of ["kaitai-struct-compiler", "kaitai-struct", "js-yaml"]) require(m)' \
    2>/dev/null; then
  echo "SKIP: node with kaitai-struct-compiler, kaitai-struct and js-yaml in $NODE_PATH" \
    "(tools/setup.sh test installs them)"
  exit 77
fi
cd "$(mktemp -d)" && { [[ -n ${KEEP:-} ]] || trap 'rm -rf "$PWD"' EXIT; }
fail() { echo "FAIL: $*"; failures=1; }

# check NAME PROJECT ROOT-ID [OPTIONS]: the description of PROJECT compiles
# and reads every file as its groups; the expected values from the project
# file (split on blanks, or given as NAME.json already).
check() {
  local name=$1 project=$2 id=$3
  shift 3
  "$report" -p "$project" --ksy "$name.ksy" "$@" >/dev/null 2>err || fail "$name: $(cat err)"
  [[ -f $name.json ]] || python3 - "$project" "$id" >"$name.json" <<'PY'
import json, os, sys
lines = [l.split() for l in open(sys.argv[1]) if l.strip() and not l.startswith('#')]
base = os.path.dirname(sys.argv[1])
print(json.dumps({'id': sys.argv[2], 'files': [
    [os.path.join(base, l[0]), dict(zip(lines[0][1:], l[1:]))] for l in lines[1:]]}))
PY
  mkdir -p "$name.js"
  node "$here/check_ksy.js" "$name.ksy" "$name.json" "$name.js" >out 2>&1 ||
    fail "$name: $(cat out)"
  grep -Eq '^([1-9][0-9]* fields and [0-9]+|0 fields and [1-9][0-9]*) checksums checked$' out ||
    fail "$name: nothing checked: $(cat out)"
}

# 1. The example data set: the models' and regions' bits, the CRC-32 at
# 0xfc described as such.
check example "$source/examples/project.txt" project
grep -q '^  - id: checksum_0xfc$' example.ksy || fail "example: no checksum at 0xfc"
grep -A9 'checksum_0xfc' example.ksy | grep -q 'covers: \[0x0, 0xfb\]' ||
  fail "example: the checksum's range"

# 2. ext4 images labelled alpha, beta and gamma, each with its own UUID.
python3 -c 'import random, uuid; random.seed(7)
for i in range(12): print(uuid.UUID(int=random.getrandbits(128), version=4))' >uuids
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
} >ext4.txt
check ext4 ext4.txt ext4
# The volume name's first byte (0x478) tells the labels apart.
grep -q '^      at_0x478_b5:$' ext4.ksy || fail "ext4: no field at the volume name"

# 2b. The report's other real sets, made by the standard tools.
for set in png zip fat gzip tar wav; do
  python3 "$source/tests/report/real/make_set.py" $set $set || fail "making the $set set"
  check $set $set/project.txt project
done

# 3. Names that are no identifiers: blanks, a digit first, keywords,
# non-ASCII, a byte that is not UTF-8, names equal once camel-cased; the
# project file's name too.
python3 - <<'PY'
import json, zlib
attributes = ['1st model', 'class', 'mod\u00e8le', 'a_1', 'a1', 'A-1', 'constant 0x0', 'serial']
values = [['x 1', 'x_1', 'X1'], ['class', 'new', '\u00fcn\u00ef\udcff'], ['a', 'b', 'c'],
          ['0', '1', '2'], ['p', 'q', 'r'], ['s', 't', 'u'], ['k', 'l', 'm'],
          [str(70000 + 4099 * i) for i in range(9)]]
files = []
with open('2 Odd-Set.v1.txt', 'w', encoding='utf-8', errors='surrogateescape') as project:
    project.write('file ' + ' '.join(f'"{a}"' for a in attributes) + '\n')
    for i in range(9):
        row = [v[i % 3] for v in values[:-1]] + [values[-1][i]]
        data = bytearray(b'\x5a' * 100)
        for a in range(len(attributes) - 1):
            data[10 * a + 5] = i % 3 + 1
        data[90:92] = [b'\0\0', b'\xff\xff', b'\x55\x55'][i % 3]
        data[92:96] = int(row[-1]).to_bytes(4, 'little')
        data[96:] = zlib.crc32(data[:96]).to_bytes(4, 'little')
        open(f'odd{i}.bin', 'wb').write(bytes(data))
        project.write(f'odd{i}.bin ' + ' '.join(f'"{v}"' for v in row) + '\n')
        files.append([f'odd{i}.bin', dict(zip(attributes, row))])
json.dump({'id': 'project_2_odd_set_v1', 'files': files}, open('odd.json', 'w'))
PY
check odd "2 Odd-Set.v1.txt" project_2_odd_set_v1
for id in attribute_1st_model attribute_class mod_le a_1 a1_2 a_1_3 constant_0x0_2; do
  grep -q "^  $id:$" odd.ksy || fail "odd: no type $id"
done
grep -q 'id: group_class$' odd.ksy || fail "odd: the value 'class'"
grep -A1 'id: value_0x5c' odd.ksy | grep -q 'type: u4le' || fail "odd: the serial number"

# 4. Refusals: -e and -b, a description over the project file.
for option in "-e 2" -b; do
  # shellcheck disable=SC2086
  "$report" -p "$source/examples/project.txt" $option --ksy x.ksy >out 2>err && fail "$option"
  grep -q "^option '--ksy' cannot be used with '-e' or '-b'" err || fail "$option: $(cat err)"
  [[ -e x.ksy ]] && fail "$option: x.ksy written"
done
cp "$source/examples/project.txt" ex.txt
"$report" -p ex.txt -r "$source/examples" --ksy ex.txt >out 2>err && fail "--ksy over the project file"
grep -q "ex.txt" err || fail "--ksy over the project file: $(cat err)"
cmp -s ex.txt "$source/examples/project.txt" || fail "the project file changed"

exit $failures
