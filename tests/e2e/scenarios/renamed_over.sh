# A file renamed over a data file while ovrell, then the report, reads it:
# one line per program, "old" when the run gave the old files' result, else
# its status and message.
. "$SCENARIOS/lib.sh"
sparse a.bin; sparse b.bin 1000 300000 2000000 4000000; sparse new.bin 123456
printf "f G H\na.bin x 1\nb.bin y 1\n" > p.txt
O="$OVRELL -p p.txt -m 8KB"; R="$OVRELL-report -p p.txt -m 1KB"
v() { wait $p; s=$?; if [ $s = 0 ] && $1; then echo old; else echo $s $(cat err); fi; }
$O -c old -d odis G H; $R G H G H > oout; cp a.bin keep.bin
$O -c res -d dis G H 2>err & p=$!
opened a.bin; mv new.bin a.bin
v "eval cmp -s res_0 old_0 && cmp -s res_1 old_1 && cmp -s dis_0 odis_0 && cmp -s dis_1 odis_1"
mv a.bin new.bin; cp keep.bin a.bin
$R G H G H > out 2>err & p=$!
opened a.bin; mv new.bin a.bin
v "cmp -s out oout"
