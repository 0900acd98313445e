# Shell helpers the scenarios share; sourced by each scenario, which runs in
# an empty directory with $OVRELL naming the built ovrell (the report lies
# beside it as $OVRELL-report).

# Three 96 KiB files, a and c the same, in the groups of G and H of p.txt.
three_files() {
  head -c 98304 /dev/urandom > a; head -c 98304 /dev/urandom > b; cp a c
  printf "f G H\na x 1\nb y 2\nc z 1\n" > p.txt
}

# Sparse files of 4 MiB, zero but for an X at each given offset.
sparse() {
  f=$1; shift; truncate -s 4M "$f"
  for o; do printf X | dd of="$f" bs=1 seek="$o" conv=notrunc 2>/dev/null; done
}

# Waits (at most five seconds) until the run $p has the file $1 open.
opened() {
  n=0
  until ls -l /proc/$p/fd 2>/dev/null | grep -q "/$1\$" || [ $n = 500 ]; do
    n=$((n + 1)); sleep 0.01
  done
}
