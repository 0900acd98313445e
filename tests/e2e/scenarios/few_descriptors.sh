# Six files and $LIMIT descriptors; twenty copies of the attribute G, so
# twenty result files to write, more than can be open.
"$OVRELL" -p p.txt -c r1 -d d1 G
(
  ulimit -n "$LIMIT"
  "$OVRELL" -p p.txt -c r2 -d d2 G
  "$OVRELL" -p p.txt -x -c m G G0 G1 G2 G3 G4 G5 G6 G7 G8 G9 G10 G11 G12 G13 G14 G15 G16 G17 G18 G19
  echo "status $?"
)
cmp r1 r2 && cmp d1 d2 && cat d2 m_20
cat m_* | wc -c
