# A mask longer than the pipe can hold keeps the run in its final writer,
# with the partial results file there, until a signal ends it; then a link
# at the partial results file's name is not followed.
head -c 99999 /dev/zero > a; { cat a; printf 1; } > b; head -c 1 b >> a
umask 0
printf "file G\na x\nb y\n" > p.txt
mkfifo f; exec 3<>f
"$OVRELL" -p p.txt -d dis G >f & sleep 1
stat -c %a __partialResult1_tmp
kill -TERM $!; { wait $!; } 2>/dev/null; echo "status $?"
ls
echo keep > v; ln -s v __partialResult1_tmp
printf "file G\nc x\nd y\n" > q.txt
"$OVRELL" -p q.txt -x -d dis G
cat v dis
ls
