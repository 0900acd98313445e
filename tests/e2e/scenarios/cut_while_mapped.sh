# A file cut short while the run reads it straight from the page cache:
# the run is held up writing to a pipe that nobody reads, the file is cut,
# and then the pipe drained (-x: the masking reads every row). The message
# and status 1, never a bus error.
. "$SCENARIOS/lib.sh"
sparse a.bin; sparse b.bin 1000 300000 2000000 4000000
printf "f G\na.bin x\nb.bin y\n" > p.txt
mkfifo out
$OVRELL -p p.txt -x -f 0 G > out 2>err & p=$!
exec 3< out
opened a.bin; sleep 0.1; truncate -s 4096 a.bin
cat <&3 > /dev/null; exec 3<&-
wait $p; echo status $?; cat err
