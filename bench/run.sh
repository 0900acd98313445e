#!/usr/bin/env bash
# The whole-process benchmark of ovrell: times the built tool on synthetic
# capture sets against reference commands that do comparable work (cat,
# xxd), and measures its peak resident memory.
#
#   bench/run.sh [--runs N] [--only S1,S5,...] [--sizes 64M,256M,1G] [--plot] [--micro]
#
#   --runs N      timed rounds per scenario (default 5), after one warm-up round
#   --only LIST   run only these scenarios (S0 S1 S2 S3 S4 S5 S6 S7 S1m S5m M1 R1 R2)
#   --sizes LIST  file sizes at which S1, S2, S3 and S1m run (default 256M)
#   --plot        draw throughput against file size (docs/benchmark.svg, gnuplot)
#   --micro       afterwards run the micro-benchmarks of the engine's kernels
#
# Run it as root on Debian 12: it installs the missing packages with apt,
# configures and builds build-bench/ (Release, with the benchmarks, without
# the tests), writes the data sets into build-bench/data once (delete that
# directory to have them written again), and runs each scenario in one loop:
# a warm-up round, then N rounds, each running ovrell and the scenario's
# references once. It prints a Markdown table of the medians (also kept in
# build-bench/results.md) and the machine. The exit status is 0 even when a
# target is missed; it is 1 when a run fails, when a round's output differs
# from the first round's, or when two runs that must agree do not (linear and
# quadratic, or a run and its -m 16MB twin).
set -euo pipefail
export LC_ALL=C

usage() {
  sed -n '5,10p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//' >&2
  exit 2
}

runs=5
only=(S0 S1 S2 S3 S4 S5 S6 S7 S1m S5m M1 R1 R2)
sizes=(256M)
plot=0
micro=0
while [[ $# -gt 0 ]]; do
  case "$1" in
    --runs)
      [[ $# -ge 2 && $2 =~ ^[1-9][0-9]*$ ]] || usage
      runs=$2
      shift 2
      ;;
    --only)
      [[ $# -ge 2 ]] || usage
      IFS=, read -r -a only <<<"$2"
      for id in "${only[@]}"; do
        [[ $id =~ ^(S0|S1|S2|S3|S4|S5|S6|S7|S1m|S5m|M1|R1|R2)$ ]] || usage
      done
      shift 2
      ;;
    --sizes)
      [[ $# -ge 2 && $2 =~ ^[0-9]+[KMG]?(,[0-9]+[KMG]?)*$ ]] || usage
      IFS=, read -r -a sizes <<<"$2"
      shift 2
      ;;
    --plot)
      plot=1
      shift
      ;;
    --micro)
      micro=1
      shift
      ;;
    *) usage ;;
  esac
done
command_line="bench/run.sh"
[[ $runs != 5 ]] && command_line+=" --runs $runs"
[[ ${#only[@]} -ne 13 ]] && command_line+=" --only $(IFS=,; echo "${only[*]}")"
[[ ${sizes[*]} != 256M ]] && command_line+=" --sizes $(IFS=,; echo "${sizes[*]}")"
[[ $plot -eq 1 ]] && command_line+=" --plot"
[[ $micro -eq 1 ]] && command_line+=" --micro"

cd "$(dirname "${BASH_SOURCE[0]}")/.."
repo=$(pwd)
build=$repo/build-bench
data=$build/data
work=$build/work
log() { echo "==> $*" >&2; }

# --- Packages, build ---------------------------------------------------------

packages=(build-essential cmake libboost-program-options-dev libboost-filesystem-dev
  libsparsehash-dev libgtest-dev libbenchmark-dev nlohmann-json3-dev xxd time)
[[ $plot -eq 1 ]] && packages+=(gnuplot-nox)
tools/install_packages.sh "${packages[@]}" >&2

log "building build-bench (Release, benchmarks on, tests off)"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DOVRELL_BUILD_BENCHMARKS=ON \
  -DOVRELL_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 1)" >/dev/null
ovrell=$build/ovrell
report=$build/ovrell-report

# --- Data sets -----------------------------------------------------------------

# name files groups size seed [dense]; big<SIZE> for each size of --sizes
declare -A sets=(
  [tiny]="2 1 4K 7"
  [many]="64 8 8M 2"
  [two]="2 2 16M 3"
  [dense]="32 32 1M 4 dense"
  [records]="2000 10 4K 6"
  [same]="2 2 64M 5"
  [pair]="2 2 256M 6"
)
for size in "${sizes[@]}"; do sets[big$size]="2 1 $size 1"; done

bytes_of() {
  local n=${1%[KMG]}
  case "$1" in
    *K) echo $((n << 10)) ;;
    *M) echo $((n << 20)) ;;
    *G) echo $((n << 30)) ;;
    *) echo "$n" ;;
  esac
}

# Writes the set unless its project file and every data file of the right
# size are there.
ensure_set() {
  local name=$1 files groups size seed dense i
  read -r files groups size seed dense <<<"${sets[$name]}"
  local complete=1 bytes
  bytes=$(bytes_of "$size")
  [[ -f $data/$name.txt ]] || complete=0
  for ((i = 0; complete && i < files; i++)); do
    [[ $(stat -c %s "$data/${name}_$i.bin" 2>/dev/null) == "$bytes" ]] || complete=0
  done
  if [[ $complete -eq 0 ]]; then
    log "writing data set '$name': $files files of $size in $groups groups (seed $seed)"
    mkdir -p "$data"
    "$build/bench/ovrell_bench_data" "$data" "$name" "$files" "$groups" "$size" "$seed" $dense
  fi
  # 'same' has a third file, a copy of the first in a group of its own: two
  # groups agree on every bit, so no stretch ever separates them.
  if [[ $name == same ]] && ! grep -q '^same_2.bin ' "$data/same.txt"; then
    cp "$data/same_0.bin" "$data/same_2.bin"
    echo "same_2.bin g2" >>"$data/same.txt"
  fi
}

set_files() { # the data files of a set, in file order
  local files i
  read -r files _ <<<"${sets[$1]}"
  for ((i = 0; i < files; i++)); do echo "$data/${1}_$i.bin"; done
}

# --- Scenarios -------------------------------------------------------------------

# Sets: what, program (ovrell unless the scenario times ovrell-report), dataset, args, ref (reference command), ref_ovrell (1 when
# the reference is ovrell too), target, limit (bytes), count_args (a run that
# prints the mask as 0/1 digits, for ns per masked bit; empty: not reported),
# dis_files (result files compared across rounds), twin (scenario whose
# outputs must be the same).
scenario() {
  local id=$1 size=${2:-}
  limit=100000000 ref_ovrell=0 count_args=() twin="" program=$ovrell
  dis_files=()
  local m=()
  [[ $id == *m ]] && m=(-m 16MB) limit=16777216
  case "$id" in
    S0)
      what="start-up: 2 files of 4 KiB, one group, -f 0; reference cat of both"
      dataset=tiny args=(-p "$data/tiny.txt" -f 0 G)
      mapfile -t ref < <(set_files tiny)
      ref=(cat "${ref[@]}") target=""
      ;;
    S1 | S1m)
      what="read and mask: 2 files of ${size}iB, one group, -f 0${m:+ -m 16MB}; reference cat of both"
      dataset=big$size args=(-p "$data/big$size.txt" -f 0 "${m[@]}" G)
      mapfile -t ref < <(set_files "big$size")
      ref=(cat "${ref[@]}") target=1
      [[ $id == S1m ]] && twin=S1@$size
      ;;
    S2)
      what="hex text: 2 files of ${size}iB, -f 1; reference xxd -p of one"
      dataset=big$size args=(-p "$data/big$size.txt" -f 1 G) ref=(xxd -p "$data/big${size}_0.bin")
      target=0.05
      ;;
    S3)
      what="binary text: 2 files of ${size}iB, -f 4; reference xxd -b of one"
      dataset=big$size args=(-p "$data/big$size.txt" -f 4 G) ref=(xxd -b "$data/big${size}_0.bin")
      target=0.03
      ;;
    S4)
      what="many files: 64 files of 8 MiB in 8 groups, -f 1; reference cat of all"
      dataset=many args=(-p "$data/many.txt" -f 1 G)
      mapfile -t ref < <(set_files many)
      ref=(cat "${ref[@]}") target=1.5
      ;;
    S5 | S5m)
      what="dissimilarities: 2 files of 16 MiB in 2 groups, -d${m:+ -m 16MB}; reference xxd -b of one"
      dataset=two args=(-p "$data/two.txt" -d "$work/dis" "${m[@]}" G)
      ref=(xxd -b "$data/two_0.bin") target=0.1 dis_files=("$work/dis")
      count_args=(-p "$data/two.txt" -d "$work/dis-count" "${m[@]}" -x -f 4 -n G)
      [[ $id == S5m ]] && twin=S5
      ;;
    M1)
      what="memory when nothing separates: 3 files of 64 MiB, two equal in different groups, -d -m 16MB; reference xxd -b of one"
      dataset=same args=(-p "$data/same.txt" -d "$work/dis" -m 16MB G) limit=16777216
      ref=(xxd -b "$data/same_0.bin") target=1 dis_files=("$work/dis")
      ;;
    S6)
      what="many groups, dense: 32 files of 1 MiB in 32 groups, each its own random image, -d; linear against quadratic (-q)"
      dataset=dense args=(-p "$data/dense.txt" -d "$work/dis" G)
      ref=("$ovrell" -p "$data/dense.txt" -q -d "$work/dis-q" G) ref_ovrell=1 target=0.5
      dis_files=("$work/dis" "$work/dis-q")
      count_args=(-p "$data/dense.txt" -d "$work/dis-count" -x -f 4 -n G)
      ;;
    S7)
      what="many small records: 2,000 files of 4 KiB in 10 groups, -f 1 -x; reference cat of all"
      dataset=records args=(-p "$data/records.txt" -f 1 -x G)
      mapfile -t ref < <(set_files records)
      ref=(cat "${ref[@]}") target=1
      ;;
    R1 | R2)
      what="ovrell-report, the table: 2 files of 256 MiB in 2 groups; reference ovrell -x -f 0"
      program=$report dataset=pair args=(-p "$data/pair.txt" G)
      ref=("$ovrell" -p "$data/pair.txt" -x -f 0 G) ref_ovrell=1 target=1.5
      if [[ $id == R2 ]]; then
        what=${what/the table/the table and 35 MB of JSON}
        args=(-p "$data/pair.txt" --json "$work/report.json" G) dis_files=("$work/report.json")
      fi
      ;;
  esac
  return 0
}

# timed NAME COMMAND...: runs the command in $work, standard output to
# /dev/null, under /usr/bin/time; sets elapsed (s) and rss (KiB). Returns
# the command's status, and prints its standard error when it fails.
timed() {
  local name=$1 status=0 start end
  shift
  start=$EPOCHREALTIME
  (cd "$work" && /usr/bin/time -f %M -o "$work/$name.rss" "$@" >/dev/null 2>"$work/$name.err") ||
    status=$?
  end=$EPOCHREALTIME
  elapsed=$(awk -v s="$start" -v e="$end" 'BEGIN { printf "%.6f", e - s }')
  rss=$(tail -n 1 "$work/$name.rss")
  if [[ $status -ne 0 ]]; then
    echo "error: exit status $status: $*" >&2
    cat "$work/$name.err" >&2
  fi
  return "$status"
}

median() { # of the arguments
  printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END {
    if (NR % 2) printf "%.4f", v[(NR + 1) / 2]; else printf "%.4f", (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

failed=0
rows=()
notes=()
# Per scenario label (S1@64M): the output of the warm-up round, the timed
# rounds' times, the peak RSS (KiB), and what failed.
declare -A checksums=() ovrell_times=() ref_times=() peaks=() broken=()

# Runs round `round` of a scenario (0 is the warm-up): ovrell and the
# reference once each, timed, and the output checked against the warm-up
# round's.
scenario_round() {
  local id=$1 size=$2 round=$3 sums file
  local label=$id${size:+@$size} round_label="round $round/$runs"
  [[ $round -eq 0 ]] && round_label="warm-up"
  [[ -n ${broken[$label]:-} ]] && return 0
  scenario "$id" "$size"
  [[ $round -eq 0 ]] && ensure_set "$dataset"
  rm -f "${dis_files[@]}"
  if ! timed ovrell "$program" "${args[@]}"; then
    broken[$label]=ovrell
    return 0
  fi
  local ovrell_time=$elapsed ovrell_rss=$rss peak=${peaks[$label]:-0}
  ((rss > peak)) && peak=$rss
  if ! timed reference "${ref[@]}"; then
    broken[$label]=reference
    return 0
  fi
  ((ref_ovrell && rss > peak)) && peak=$rss
  peaks[$label]=$peak
  log "$label $round_label: ovrell $ovrell_time s, reference $elapsed s, peak RSS $((ovrell_rss / 1024)) MiB"
  if [[ $round -gt 0 ]]; then
    ovrell_times[$label]+=" $ovrell_time"
    ref_times[$label]+=" $elapsed"
  fi

  # The output: the result files of the timed run, and standard output from
  # one more run (the timed one writes it to /dev/null).
  sums=""
  for file in "${dis_files[@]}"; do sums+="$(basename "$file"):$(cksum <"$file") "; done
  if ! sums+="stdout:$( (cd "$work" && "$program" "${args[@]}" 2>/dev/null) | cksum)"; then
    broken[$label]=ovrell
  elif [[ $round -eq 0 ]]; then
    checksums[$label]=$sums
  elif [[ $sums != "${checksums[$label]}" ]]; then
    notes+=("$label: the output of $round_label differs from the warm-up round's ($sums; ${checksums[$label]})")
    failed=1
  fi
}

# Appends the row of a scenario whose rounds have run to `rows`.
scenario_row() {
  local id=$1 size=$2
  local label=$id${size:+@$size}
  local peak=${peaks[$label]:-0}
  scenario "$id" "$size"
  case ${broken[$label]:-} in
    ovrell) rows+=("| $label | $what | run failed | | | | | | | | |") ;;
    reference) rows+=("| $label | $what | | reference failed | | | | | | | |") ;;
  esac
  if [[ -n ${broken[$label]:-} ]]; then
    failed=1
    return 0
  fi
  local ovrell_median ref_median ratio ok memory_ok nsbit="" bits
  # shellcheck disable=SC2086 # the times are words
  ovrell_median=$(median ${ovrell_times[$label]})
  # shellcheck disable=SC2086
  ref_median=$(median ${ref_times[$label]})
  ratio=$(awk -v a="$ovrell_median" -v b="$ref_median" 'BEGIN { printf "%.3f", (b > 0 ? a / b : 0) }')
  ok=$(awk -v r="$ratio" -v t="$target" 'BEGIN { print (t == "" ? "-" : r <= t ? "ok" : "FAIL") }')
  local peak_mib allowed_mib
  peak_mib=$(awk -v k="$peak" 'BEGIN { printf "%.1f", k / 1024 }')
  allowed_mib=$(awk -v l="$limit" 'BEGIN { printf "%.1f", l / 1048576 + 16 }')
  memory_ok=$(awk -v k="$peak" -v l="$limit" 'BEGIN { print (k * 1024 <= l + 16777216 ? "ok" : "FAIL") }')
  if [[ ${#count_args[@]} -gt 0 ]]; then
    bits=$( (cd "$work" && "$ovrell" "${count_args[@]}" 2>/dev/null) | tr -cd 1 | wc -c)
    nsbit=$(awk -v t="$ovrell_median" -v b="$bits" 'BEGIN { printf "%.3f", t * 1e9 / b }')
    if [[ $ref_ovrell -eq 1 ]]; then
      nsbit+=" / $(awk -v t="$ref_median" -v b="$bits" 'BEGIN { printf "%.3f", t * 1e9 / b }')"
    fi
    nsbit+=" ($bits bits)"
  fi
  rows+=("| $label | $what | $ovrell_median | $ref_median | $ratio | ${target:+<= $target} | $ok | $peak_mib | $allowed_mib | $memory_ok | $nsbit |")

  # Two routes that must agree.
  if [[ $id == S6 && $(cksum <"$work/dis") != "$(cksum <"$work/dis-q")" ]]; then
    notes+=("S6: the linear and the quadratic algorithm wrote different dissimilarities")
    failed=1
  fi
  if [[ -n $twin && -n ${checksums[$twin]:-} ]]; then
    local mine=${checksums[$label]} theirs=${checksums[$twin]}
    [[ $id == S5m ]] && mine=${mine%% stdout:*} theirs=${theirs%% stdout:*}
    if [[ $mine != "$theirs" ]]; then
      notes+=("$label: the output differs from $twin's ($mine; $theirs)")
      failed=1
    fi
  fi
  if [[ $id =~ ^S[123]$ ]]; then
    points+=("$(bytes_of "$size") $id $ovrell_median $ref_median")
  fi
  [[ $id == S0 ]] && startup=("$ovrell_median" "$ref_median")
  return 0
}

# Throughput (MiB of input per second) against file size, for S1 to S3 and
# their references: a line per program; input is both files for ovrell and
# cat, one file for xxd.
draw_plot() {
  local svg=$repo/docs/benchmark.svg table=$build/plot.dat
  printf '%s\n' "${points[@]}" | sort -n | awk '
    { size = $1; mib = size / 1048576; t[size, $2] = $3; r[size, $2] = $4; sizes[size] = mib }
    END {
      print "# size_MiB ovrell-f0 cat ovrell-f1 xxd-p ovrell-f4 xxd-b"
      for (s in sizes) {
        line = sizes[s]
        line = line " " (t[s, "S1"] ? 2 * sizes[s] / t[s, "S1"] : "NaN") " " (r[s, "S1"] ? 2 * sizes[s] / r[s, "S1"] : "NaN")
        line = line " " (t[s, "S2"] ? 2 * sizes[s] / t[s, "S2"] : "NaN") " " (r[s, "S2"] ? sizes[s] / r[s, "S2"] : "NaN")
        line = line " " (t[s, "S3"] ? 2 * sizes[s] / t[s, "S3"] : "NaN") " " (r[s, "S3"] ? sizes[s] / r[s, "S3"] : "NaN")
        print line
      }
    }' | sort -n >"$table"
  gnuplot <<GNUPLOT
set terminal svg size 800,480 dynamic enhanced font "sans,12" background "white"
set output "$svg"
set title "ovrell and its references: throughput against file size ($(nproc) cores, page cache hot)"
set logscale xy
set xlabel "file size (MiB)"
set ylabel "input read per second (MiB/s)"
set key outside right
set grid
plot "$table" using 1:2 with linespoints lw 2 title "ovrell -f 0 (2 files)", \
     "$table" using 1:3 with linespoints dt 2 title "cat (2 files)", \
     "$table" using 1:4 with linespoints lw 2 title "ovrell -f 1 (2 files)", \
     "$table" using 1:5 with linespoints dt 2 title "xxd -p (1 file)", \
     "$table" using 1:6 with linespoints lw 2 title "ovrell -f 4 (2 files)", \
     "$table" using 1:7 with linespoints dt 2 title "xxd -b (1 file)"
GNUPLOT
  log "plot: $svg"
}

# Time per MiB of input (both files) of S1 and of cat at each size, and the
# same less the time each takes on two 4 KiB files (S0: starting a process,
# reading the project, exiting), with the spread over the sizes (largest /
# smallest - 1). Prints nothing unless S1 ran at two sizes or more.
time_per_mib() {
  printf '%s\n' "${points[@]}" | awk -v s0="${startup[0]:-}" -v c0="${startup[1]:-}" '
    $2 == "S1" { n++; mib[n] = 2 * $1 / 1048576; t[n] = $3; r[n] = $4 }
    function spread(a, b, lo, hi, i) {
      lo = hi = a[1] / b[1]
      for (i = 2; i <= n; i++) { v = a[i] / b[i]; if (v < lo) lo = v; if (v > hi) hi = v }
      return sprintf("%.0f %%", 100 * (hi / lo - 1))
    }
    END {
      if (n < 2) exit
      print "Time per MiB of input, S1 (net: less the time on two 4 KiB files, S0):"
      print ""
      print "| file size (MiB) | ovrell (ms/MiB) | ovrell net | cat (ms/MiB) | cat net |"
      print "|---|---|---|---|---|"
      for (i = 1; i <= n; i++) {
        tn[i] = t[i] - s0; rn[i] = r[i] - c0
        printf "| %d | %.4f | %s | %.4f | %s |\n", mib[i] / 2, 1000 * t[i] / mib[i],
          s0 == "" ? "" : sprintf("%.4f", 1000 * tn[i] / mib[i]), 1000 * r[i] / mib[i],
          c0 == "" ? "" : sprintf("%.4f", 1000 * rn[i] / mib[i])
      }
      printf "| spread | %s | %s | %s | %s |\n", spread(t, mib), s0 == "" ? "" : spread(tn, mib),
        spread(r, mib), c0 == "" ? "" : spread(rn, mib)
      print ""
    }'
}

points=()
startup=()
mkdir -p "$work"
for id in "${only[@]}"; do
  # The sizes of a scenario take turns round by round, so that a change in
  # the machine's speed during the run falls on every size alike.
  labels=("")
  [[ $id =~ ^S[123]$|^S1m$ ]] && labels=("${sizes[@]}")
  for ((round = 0; round <= runs; round++)); do
    for size in "${labels[@]}"; do scenario_round "$id" "$size" "$round"; done
  done
  for size in "${labels[@]}"; do scenario_row "$id" "$size"; done
done
[[ $plot -eq 1 ]] && draw_plot

# --- Report ----------------------------------------------------------------------

cpu=$(awk -F': *' '/^model name/ { print $2; exit }' /proc/cpuinfo)
memory=$(awk '/^MemTotal/ { printf "%.1f GiB", $2 / 1048576 }' /proc/meminfo)
compiler=$(awk -F= '/^CMAKE_CXX_COMPILER:/ { print $2 }' "$build/CMakeCache.txt")
compiler=$("$compiler" --version | head -n 1)
{
  echo "| scenario | what | ovrell median (s) | reference median (s) | ratio | target | time |" \
    "peak RSS (MiB) | limit + 16 MiB | memory | ns per masked bit |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|"
  printf '%s\n' "${rows[@]}"
  echo
  for note in "${notes[@]}"; do echo "- $note"; done
  [[ ${#notes[@]} -gt 0 ]] && echo
  time_per_mib
  echo "Medians of $runs rounds after a warm-up round. S6: linear is 'ovrell', quadratic the" \
    "reference; ns per masked bit is linear / quadratic there. R1, R2: 'ovrell' is ovrell-report."
  echo
  echo "Machine: $cpu, $(nproc) cores, $memory, Linux $(uname -r), $compiler."
  echo "Command: $command_line"
} | tee "$build/results.md"

if [[ $micro -eq 1 ]]; then
  log "micro-benchmarks: $build/bench/ovrell_micro (also in $build/micro.json)"
  (cd "$work" && "$build/bench/ovrell_micro" --benchmark_out="$build/micro.json" \
    --benchmark_out_format=json) || failed=1
fi
exit "$failed"
