# The report's file written to, ovrell's cut short: the message, nothing of
# the results left.
. "$SCENARIOS/lib.sh"
sparse a.bin; sparse b.bin 1000 300000 2000000 4000000; sparse new.bin 123456
printf "f G H\na.bin x 1\nb.bin y 1\n" > p.txt
O="$OVRELL -p p.txt -m 8KB"; R="$OVRELL-report -p p.txt -m 1KB"
$R --json j G H G H > out 2>err & p=$!
opened a.bin; printf Y | dd of=a.bin bs=1 seek=5 conv=notrunc 2>/dev/null
wait $p; echo status $?; cat err
$O -c res -d dis G H 2>err & p=$!
opened a.bin; truncate -s 4096 a.bin
wait $p; echo status $?; cat err
ls
