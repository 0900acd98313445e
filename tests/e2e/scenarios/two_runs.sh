# The first run holds the directory while its output waits in a full pipe;
# the second waits for it, says so, and both write what they would have
# written one after the other.
. "$SCENARIOS/lib.sh"
three_files
"$OVRELL" -p p.txt -d d1 G | (sleep 2; cat > c1) & sleep 0.5
"$OVRELL" -p p.txt -d d2 G > c2; wait
"$OVRELL" -p p.txt -d d3 G > c3
cmp c1 c2 && cmp c2 c3 && cmp d1 d2 && cmp d2 d3 && echo same
