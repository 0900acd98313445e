# Result paths that are inputs or each other: refused before anything goes.
printf "f G H\na x 1\nb y 2\nc z 3\n" > p.txt
ln c l
o() { "$OVRELL" -p p.txt "$@" 2>&1; echo "= $?"; }
o -c l G
o -c p.txt G
o -c X -d ./X G H
o -d __partialResult1_tmp G
o -c r -d r G
ls
od -An -tx1 c
