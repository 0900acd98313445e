# Forty files and twenty descriptors: the files are opened again for every
# read (both programs, with and without -d), give the result of a run that
# keeps them open, and one renamed over between two reads is seen. With
# twenty as the soft limit alone, it is raised and every file kept: one
# renamed over changes nothing (when the hard limit allows).
i=0; printf "f G\n" > q.txt
while [ $i -lt 40 ]; do
  truncate -s 64K f$i
  printf X | dd of=f$i bs=1 seek=$((i % 3 * 1500)) conv=notrunc 2>/dev/null
  printf Y | dd of=f$i bs=1 seek=$((5000 + i * 1000)) conv=notrunc 2>/dev/null
  echo f$i $((i % 3)) >> q.txt; i=$((i + 1))
done
O() { "$OVRELL" -p q.txt -m 4KB -c r$1 -d d$1 $2; }
O 1 "G G G"
(ulimit -n 20; O 2 G; echo status $?)
cmp r1_0 r2 && cmp d1_0 d2 && cat d2
P() { "$OVRELL" -p q.txt -m 4KB -c r$1 G; "$OVRELL-report" -p q.txt G > t$1; }
P 3; (ulimit -n 20; P 4)
cmp r3 r4 && cmp t3 t4
swap() {
  (ulimit $1 20; O $2 "$3") 2>err & p=$!
  n=0
  until [ -e __partialResult1_tmp ] || [ $n = 500 ]; do n=$((n + 1)); sleep 0.01; done
  cp f8 new; mv new f$2; wait $p; echo status $? $(cat err)
}
h=$(ulimit -Hn)
if [ $h = unlimited ] || [ $h -gt 99 ]; then
  swap -Sn 7 "G G G"
  for k in 0 1 2; do cmp r1_$k r7_$k && cmp d1_$k d7_$k; done
else
  echo status 0
fi
swap -n 9 "G G"
