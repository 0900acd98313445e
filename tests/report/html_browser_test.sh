#!/usr/bin/env bash
# The picture of ovrell-report in a real browser: six files of 8 KiB in two
# groups, equal but for byte 0x1234 (00 in group g0, ff in g1) and byte 0x100
# (0, 1, 2 in each group: it varies inside both). Headless chromium loads the page from disk and dumps its DOM
# after layout; the cell of byte 0x1234 must be drawn in the informative
# colour with its tooltip, the counter's cell in the varying colour, and the
# page must fetch nothing. Skips (status 77) when chromium is not installed.
#
#   html_browser_test.sh PATH-TO-ovrell-report
set -euo pipefail
report=$1
browser=$(command -v chromium || command -v chromium-browser || true)
if [[ -z $browser ]]; then
  echo "SKIPPED: chromium is not installed (apt-get install chromium)"
  exit 77
fi
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

head -c 8192 /dev/zero >base
echo "file g" >p.txt
for i in 0 1 2 3 4 5; do
  cp base "f$i"
  [[ $((i % 2)) -eq 1 ]] && printf '\xff' | dd of="f$i" bs=1 seek=$((0x1234)) conv=notrunc status=none
  printf "\\x0$((i / 2))" | dd of="f$i" bs=1 seek=256 conv=notrunc status=none
  echo "f$i g$((i % 2))" >>p.txt
done
"$report" -p p.txt --html page.html >/dev/null

fail() {
  echo "FAILED: $*"
  exit 1
}
if grep -Eq '<script|src=|href=' page.html; then fail "the page refers to something outside it"; fi

# Chromium's own checks and services off: it must not reach the network.
"$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
  --disable-background-networking --disable-component-update --disable-sync \
  --user-data-dir="$dir/profile" --dump-dom "file://$dir/page.html" >dom.html 2>browser.log ||
  fail "chromium could not render the page: $(tail -n 5 browser.log)"
"$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
  --disable-background-networking --disable-component-update --disable-sync \
  --user-data-dir="$dir/profile" --window-size=1400,900 --screenshot="$dir/shot.png" \
  "file://$dir/page.html" >/dev/null 2>>browser.log
[[ -s shot.png ]] || fail "no screenshot"

# Two bytes a cell (8192 bytes in at most 4096 cells): byte 0x1234 is the
# cell at offset 4660, byte 0x100 the one at offset 256.
cell() { grep -o "<rect data-offset=\"$1\"[^>]*><title>[^<]*</title>" dom.html; }
informative=$(cell 4660) || fail "no cell for byte 0x1234 in the DOM"
[[ $informative == *'fill="#d62728"'* ]] || fail "byte 0x1234 is not informative: $informative"
[[ $informative == *'<title>0x00001234-0x00001235 informative at 0x00001234: g0=00 g1=ff</title>'* ]] ||
  fail "tooltip of byte 0x1234: $informative"
[[ $(cell 256) == *'fill="#f5b700"'*'<title>0x00000100-0x00000101 varying</title>'* ]] ||
  fail "byte 0x100 is not varying: $(cell 256)"
for offset in 0 4658 4662; do  # the field's neighbours too: a cell is only its own bytes
  [[ $(cell $offset) == *'fill="#d9d9d9"'* ]] || fail "not constant: $(cell $offset)"
done
[[ $(grep -c '<rect data-offset' dom.html) -eq 4096 ]] || fail "not 4096 cells"
# The table's rows for byte 0x1234: the groups' bytes, read as a number
# (widened over the zeros after it), and the field's bits.
for row in '<td>0x00001234-0x00001234</td><td></td><td>1 B</td><td>00</td><td>ff</td>' \
  '<td>as u64le</td><td>0x00001234-0x0000123b</td><td>8 B</td><td>0</td><td>255</td>' \
  '<td></td><td>37280-37287</td><td>8</td><td>00000000</td><td>11111111</td><td></td>'; do
  grep -qF "<tr>$row</tr>" dom.html || fail "the field table has no row $row"
done
echo "1 passed, 0 failed"
