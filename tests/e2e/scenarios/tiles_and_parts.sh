# Three 1 MiB files in three groups: the ascii mask (no separators, so block
# ends do not show) of the one-block run, read in many tiles, against blocks
# of 8 KiB; the dissimilarities of the one-block run (many parts of masked
# bits through the kernel) against blocks smaller than a tile and than a
# part, and against -q.
for f in a b c; do head -c 1048576 /dev/urandom > $f; done
printf "f G\na x\nb y\nc z\n" > p.txt
o() { "$OVRELL" -p p.txt "$@" G | cksum; }
[ "$(o -x -f 0)" = "$(o -x -f 0 -m 32KB)" ] && echo masks
o -d d0 >/dev/null; o -d d1 -m 200KB >/dev/null; o -q -d d2 -m 64KB >/dev/null
cmp d0 d1 && cmp d0 d2 && [ $(wc -l < d0) -gt 1000 ] && echo stretches
