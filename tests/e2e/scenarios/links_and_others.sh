# Results through links (the target written, a failed run takes back what it
# wrote there, a dangling link gets its target made); an old result of
# another user in a sticky directory and another user's partial results
# file stop the run before anything is written. As root, with setpriv.
. "$SCENARIOS/lib.sh"
three_files
chmod 1777 .
echo old > t1; echo old > t2; ln -s t1 l1; ln -s t2 l2
mkdir s; ln -s t3 s/l3
o() { "$OVRELL" "$@"; echo " = $?"; }
nobody() { setpriv --reuid=nobody --regid=nogroup --clear-groups "$@"; }
o -p p.txt -n -f 1 -c l1 -d l2 H
find . -type l | sort; wc -c < t1; head -c 1 t2; echo
"$OVRELL" -p p.txt -d s/l3 G >/dev/full; echo " = $?"
find . -type l | sort; ls s
echo old > r; chmod 666 r
nobody "$OVRELL" -p p.txt -c r G; echo " = $?"
cat r
nobody touch __partialResult1_tmp
o -p p.txt -c r -d d G
cat r; ls
