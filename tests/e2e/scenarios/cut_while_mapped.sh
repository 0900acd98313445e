# Files cut short while both programs read them straight from the page
# cache: the message, status 1, nothing of the results left.
. "$SCENARIOS/lib.sh"
sparse a.bin; sparse b.bin 1000 300000 2000000 4000000
printf "f G\na.bin x\nb.bin y\n" > p.txt
$OVRELL-report -p p.txt -m 8KB --json j G > out 2>err & p=$!
opened a.bin; truncate -s 12000 a.bin
wait $p; echo status $?; cat err
sparse a.bin
$OVRELL -p p.txt -m 8KB -c res -f 1 G G 2>err & p=$!
opened a.bin; truncate -s 4096 a.bin
wait $p; echo status $?; cat err
ls
