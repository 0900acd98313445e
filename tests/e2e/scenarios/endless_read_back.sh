# Files of 33 bytes in one block of 40: reading back the commonalities would
# go on without end, so the run stops before it deletes anything and names a
# limit that works; at that limit, and for 9 bytes in a block of 16 (the
# count wraps to a negative number), the runs are as ever.
printf "file G\na x\nb y\n" > p.txt; echo old > dis
o() { "$OVRELL" -p p.txt -n -f 1 "$@" G; echo " = $?"; }
o -d dis; cat dis
o -m 724 -d dis; cat dis
o -m 725 -d dis; cat dis
tail -c 9 a > c; tail -c 9 b > d; printf "file G\nc x\nd y\n" > p.txt
o -d dis; cat dis
