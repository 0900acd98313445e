#!/usr/bin/env bash
# The whole-process benchmark of ovrell: times the built tool on synthetic
# capture sets against reference commands that do comparable work (cat,
# xxd), and measures its peak resident memory.
#
#   bench/run.sh [--runs N] [--only S1,S5,...] [--sizes 64M,256M,1G] [--shape SHAPE] [--plot] [--micro]
#
#   --runs N      timed pairs per scenario (default 9), after one warm-up pair
#   --only LIST   run only these scenarios (S0 S1 S2 S3 S4 S5 S6 S7 S1b S1m S5m S5q M1 R1 R2 E1 E2)
#   --sizes LIST  file sizes at which S1, S2, S3, S1b and S1m run (default 256M)
#   --shape SHAPE the data: edited (files mostly the same), random (independent files) or both (default)
#   --plot        draw throughput against file size (docs/benchmark.svg, gnuplot)
#   --micro       afterwards run the micro-benchmarks of the engine's kernels
#
# Run it as root on Debian 12: it installs the missing packages with apt,
# configures and builds build-bench/ (Release, with the benchmarks, without
# the tests), writes the data sets into build-bench/data once (delete that
# directory to have them written again), and runs each scenario in one loop:
# a warm-up round, then N rounds, each running ovrell and then the scenario's
# reference once (a pair) on each data shape and size. A ratio is the median
# of the N per-pair ratios, shown with their spread (lowest to highest). It
# prints a Markdown table (also kept in build-bench/results.md), a summary
# with the worse shape of each row for the README, and the machine. The exit status is 0 even when a
# target is missed; it is 1 when a run fails, when a round's output differs
# from the first round's, or when two runs that must agree do not (linear and
# quadratic, or a run and its -m 16MB twin).
#
# Everything with --sizes 64M,256M,1G and both shapes writes about 8 GB of
# data and takes over an hour (S0, S1, S2, S1b and S5 at 64M,256M took
# 13 min 45 s at load 10); --shape edited or --only shorten it.
set -euo pipefail
export LC_ALL=C

usage() {
  sed -n '6,13p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//' >&2
  exit 2
}

runs=9
all=(S0 S1 S2 S3 S4 S5 S5q S6 S7 S1b S1m S5m M1 R1 R2 E1 E2)
only=("${all[@]}")
sizes=(256M)
shapes=(edited random)
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
        [[ $id =~ ^(S0|S1|S2|S3|S4|S5|S5q|S6|S7|S1b|S1m|S5m|M1|R1|R2|E1|E2)$ ]] || usage
      done
      shift 2
      ;;
    --sizes)
      [[ $# -ge 2 && $2 =~ ^[0-9]+[KMG]?(,[0-9]+[KMG]?)*$ ]] || usage
      IFS=, read -r -a sizes <<<"$2"
      shift 2
      ;;
    --shape)
      [[ $# -ge 2 && $2 =~ ^(edited|random|both)$ ]] || usage
      shapes=("$2")
      [[ $2 == both ]] && shapes=(edited random)
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
[[ $runs != 9 ]] && command_line+=" --runs $runs"
[[ ${#only[@]} -ne ${#all[@]} ]] && command_line+=" --only $(IFS=,; echo "${only[*]}")"
[[ ${#shapes[@]} -ne 2 ]] && command_line+=" --shape ${shapes[0]}"
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

# name files groups size seed; big<SIZE> for each size of --sizes. Every
# set is written in each shape of --shape, as NAME-edited and NAME-random
# (the generator's shapes edited and independent).
declare -A sets=(
  [tiny]="2 1 4K 7"
  [many]="64 8 8M 2"
  [two16M]="2 2 16M 3"
  [two256M]="2 2 256M 3"
  [records]="2000 10 4K 6"
  [dense]="32 32 1M 4"
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

set_of() { echo "$1-$2"; } # the set of that name and shape (edited or random)

# Writes the set (as set_of names it) unless its project file and every data
# file of the right size are there.
ensure_set() {
  local name=$1 files groups size seed shape i
  # E1's set comes from its own generator, in a directory of its own.
  if [[ $name == e1-* ]]; then
    if [[ ! -f $data/$name/e1.txt ]]; then
      log "writing data set '$name': 16 files of 16M with planted checksums"
      mkdir -p "$data/$name"
      python3 "$repo/bench/explain_data.py" "$data/$name" 16M
    fi
    return 0
  fi
  read -r files groups size seed <<<"${sets[${name%-*}]}"
  shape=${name##*-}
  [[ $shape == random ]] && shape=independent
  local complete=1 bytes
  bytes=$(bytes_of "$size")
  [[ -f $data/$name.txt ]] || complete=0
  for ((i = 0; complete && i < files; i++)); do
    [[ $(stat -c %s "$data/${name}_$i.bin" 2>/dev/null) == "$bytes" ]] || complete=0
  done
  if [[ $complete -eq 0 ]]; then
    log "writing data set '$name': $files files of $size in $groups groups (seed $seed, $shape)"
    mkdir -p "$data"
    "$build/bench/ovrell_bench_data" "$data" "$name" "$files" "$groups" "$size" "$seed" "$shape"
  fi
  # 'same' has a third file, a copy of the first in a group of its own: two
  # groups agree on every bit, so no stretch ever separates them.
  if [[ $name == same-* ]] && ! grep -q "^${name}_2.bin " "$data/$name.txt"; then
    cp "$data/${name}_0.bin" "$data/${name}_2.bin"
    echo "${name}_2.bin g2" >>"$data/$name.txt"
  fi
}

set_files() { # the data files of a set (as set_of names it), in file order
  local files i
  read -r files _ <<<"${sets[${1%-*}]}"
  for ((i = 0; i < files; i++)); do echo "$data/${1}_$i.bin"; done
}

# --- Scenarios -------------------------------------------------------------------

# Sets: what, program (ovrell unless the scenario times ovrell-report), dataset, args, ref (reference command), ref_ovrell (1 when
# the reference is ovrell too), target, limit (bytes), count_args (a run that
# prints the mask as 0/1 digits, for ns per masked bit; empty: not reported),
# dis_files (result files compared across rounds), twin (scenario whose
# outputs must be the same), busy (1: a loop keeps one core busy meanwhile).
scenario() {
  local id=$1 size=${2:-} shape=$3
  limit=100000000 ref_ovrell=0 count_args=() twin="" program=$ovrell busy=0
  dis_files=()
  local m=() s
  [[ $id == *m ]] && m=(-m 16MB) limit=16777216
  set_name() { set_of "$1" "$shape"; }
  case "$id" in
    S0)
      what="start-up: 2 files of 4 KiB, one group, -f 0; reference cat of both"
      dataset=$(set_name tiny) args=(-p "$data/$dataset.txt" -f 0 G)
      mapfile -t ref < <(set_files "$dataset")
      ref=(cat "${ref[@]}") target=""
      ;;
    S1 | S1m | S1b)
      what="read and mask: 2 files of ${size}iB, one group, -f 0${m:+ -m 16MB}; reference cat of both"
      dataset=$(set_name "big$size") args=(-p "$data/$dataset.txt" -f 0 "${m[@]}" G)
      mapfile -t ref < <(set_files "$dataset")
      ref=(cat "${ref[@]}") target=0.6
      [[ $id == S1m ]] && twin=S1@$size/$shape target=1
      if [[ $id == S1b ]]; then
        what="S1 while a loop keeps one core busy: 2 files of ${size}iB, -f 0; reference cat of both"
        target=1 busy=1
      fi
      ;;
    S2)
      what="hex text: 2 files of ${size}iB, -f 1; reference xxd -p of one"
      dataset=$(set_name "big$size") args=(-p "$data/$dataset.txt" -f 1 G)
      ref=(xxd -p "$data/${dataset}_0.bin") target=0.04
      ;;
    S3)
      what="binary text: 2 files of ${size}iB, -f 4; reference xxd -b of one"
      dataset=$(set_name "big$size") args=(-p "$data/$dataset.txt" -f 4 G)
      ref=(xxd -b "$data/${dataset}_0.bin") target=0.03
      ;;
    S4)
      what="many files: 64 files of 8 MiB in 8 groups, -f 1; reference cat of all"
      dataset=$(set_name many) args=(-p "$data/$dataset.txt" -f 1 G)
      mapfile -t ref < <(set_files "$dataset")
      ref=(cat "${ref[@]}") target=1.5
      ;;
    S5 | S5m | S5q)
      s=${size:-16M}
      what="dissimilarities: 2 files of ${s}iB in 2 groups, -d${m:+ -m 16MB}; reference xxd -b of one"
      dataset=$(set_name "two$s") args=(-p "$data/$dataset.txt" -d "$work/dis" "${m[@]}" G)
      ref=(xxd -b "$data/${dataset}_0.bin") target=0.1 dis_files=("$work/dis")
      count_args=(-p "$data/$dataset.txt" -d "$work/dis-count" "${m[@]}" -x -f 4 -n G)
      [[ $id == S5m ]] && twin=S5@$s/$shape
      if [[ $id == S5q ]]; then
        what="S5 against itself with -q: 2 files of ${s}iB in 2 groups, -d; reference the same with -q"
        ref=("$ovrell" -p "$data/$dataset.txt" -q -d "$work/dis-q" G) ref_ovrell=1 target=0.5
        dis_files=("$work/dis" "$work/dis-q")
      fi
      ;;
    M1)
      what="memory when nothing separates: 3 files of 64 MiB, two equal in different groups, -d -m 16MB; reference xxd -b of one"
      dataset=$(set_name same) args=(-p "$data/$dataset.txt" -d "$work/dis" -m 16MB G) limit=16777216
      ref=(xxd -b "$data/${dataset}_0.bin") target=1 dis_files=("$work/dis")
      ;;
    S6)
      what="many groups: 32 files of 1 MiB in 32 groups, -d; linear against quadratic (-q)"
      dataset=$(set_name dense) args=(-p "$data/$dataset.txt" -d "$work/dis" G)
      ref=("$ovrell" -p "$data/$dataset.txt" -q -d "$work/dis-q" G) ref_ovrell=1 target=0.5
      dis_files=("$work/dis" "$work/dis-q")
      count_args=(-p "$data/$dataset.txt" -d "$work/dis-count" -x -f 4 -n G)
      ;;
    S7)
      what="many small records: 2,000 files of 4 KiB in 10 groups, -f 1 -x; reference cat of all"
      dataset=$(set_name records) args=(-p "$data/$dataset.txt" -f 1 -x G)
      mapfile -t ref < <(set_files "$dataset")
      ref=(cat "${ref[@]}") target=1
      ;;
    E1)
      what="ovrell-report with explanations: 16 files of 16 MiB in 4 groups, planted checksums, counter, random bytes (bench/explain_data.py); reference ovrell -x -f 0"
      dataset=$(set_name e1) program=$report args=(-p "$data/$dataset/e1.txt")
      ref=("$ovrell" -p "$data/$dataset/e1.txt" -x -f 0 model) ref_ovrell=1 target=3
      ;;
    R1 | R2 | E2)
      what="ovrell-report, the table: 2 files of 256 MiB in 2 groups; reference ovrell -x -f 0"
      [[ $id == E2 ]] && what=${what/the table/the table with the explanations (compare with R1 before them)}
      dataset=$(set_name pair)
      program=$report args=(-p "$data/$dataset.txt" G)
      ref=("$ovrell" -p "$data/$dataset.txt" -x -f 0 G) ref_ovrell=1 target=1.2
      if [[ $id == R2 ]]; then
        what=${what/the table/the table and the JSON}
        args=(-p "$data/$dataset.txt" --json "$work/report.json" G) dis_files=("$work/report.json")
        target=1.5
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
# Per scenario label (S1@64M/edited): the output of the warm-up round, the timed
# rounds' times, the peak RSS (KiB), and what failed.
declare -A checksums=() ovrell_times=() ref_times=() ratios=() peaks=() broken=()

# Runs round `round` of a scenario (0 is the warm-up): ovrell and the
# reference once each, timed, and the output checked against the warm-up
# round's.
scenario_round() {
  local id=$1 size=$2 shape=$3 round=$4 sums file busy_pid="" status=0
  local label=$id${size:+@$size}/$shape round_label="round $round/$runs"
  [[ $round -eq 0 ]] && round_label="warm-up"
  [[ -n ${broken[$label]:-} ]] && return 0
  scenario "$id" "$size" "$shape"
  [[ $round -eq 0 ]] && ensure_set "$dataset"
  rm -f "${dis_files[@]}"
  if [[ $busy -eq 1 ]]; then
    (while :; do :; done) &
    busy_pid=$!
  fi
  local ovrell_time="" ovrell_rss=0 peak=${peaks[$label]:-0}
  if timed ovrell "$program" "${args[@]}"; then
    ovrell_time=$elapsed ovrell_rss=$rss
    timed reference "${ref[@]}" || status=2
  else
    status=1
  fi
  if [[ -n $busy_pid ]]; then
    kill "$busy_pid"
    wait "$busy_pid" 2>/dev/null || true
  fi
  case $status in
    1) broken[$label]=ovrell && return 0 ;;
    2) broken[$label]=reference && return 0 ;;
  esac
  ((ovrell_rss > peak)) && peak=$ovrell_rss
  ((ref_ovrell && rss > peak)) && peak=$rss
  peaks[$label]=$peak
  log "$label $round_label: ovrell $ovrell_time s, reference $elapsed s, peak RSS $((ovrell_rss / 1024)) MiB"
  if [[ $round -gt 0 ]]; then
    ovrell_times[$label]+=" $ovrell_time"
    ref_times[$label]+=" $elapsed"
    ratios[$label]+=" $(awk -v a="$ovrell_time" -v b="$elapsed" 'BEGIN { printf "%.4f", (b > 0 ? a / b : 0) }')"
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
  local id=$1 size=$2 shape=$3
  local label=$id${size:+@$size}/$shape
  local peak=${peaks[$label]:-0}
  scenario "$id" "$size" "$shape"
  case ${broken[$label]:-} in
    ovrell) rows+=("| $label | $what | run failed | | | | | | | | | |") ;;
    reference) rows+=("| $label | $what | | reference failed | | | | | | | | |") ;;
  esac
  if [[ -n ${broken[$label]:-} ]]; then
    failed=1
    return 0
  fi
  local ovrell_median ref_median ratio spread ok memory_ok nsbit="" bits
  # shellcheck disable=SC2086 # the times are words
  ovrell_median=$(median ${ovrell_times[$label]})
  # shellcheck disable=SC2086
  ref_median=$(median ${ref_times[$label]})
  # shellcheck disable=SC2086
  ratio=$(printf '%.3f' "$(median ${ratios[$label]})")
  # shellcheck disable=SC2086
  spread=$(printf '%s\n' ${ratios[$label]} | sort -g | awk 'NR == 1 { lo = $1 } { hi = $1 } END { printf "%.3f-%.3f", lo, hi }')
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
  rows+=("| $label | $what | $ovrell_median | $ref_median | $ratio | $spread | ${target:+<= $target} | $ok | $peak_mib | $allowed_mib | $memory_ok | $nsbit |")
  local key=$id${size:+@$size}
  [[ -z ${summary[$key]:-} ]] && summary_keys+=("$key") && summary_targets[$key]=$target
  summary[$key]+="$shape $ratio $spread;"

  # Two routes that must agree.
  if [[ $id =~ ^S[56]q?$ && $ref_ovrell -eq 1 && $(cksum <"$work/dis") != "$(cksum <"$work/dis-q")" ]]; then
    notes+=("$label: the linear and the quadratic algorithm wrote different dissimilarities")
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
    points+=("$(bytes_of "$size") $id $shape $ovrell_median $ref_median")
  fi
  [[ $id == S0 && -z ${startup[*]:-} ]] && startup=("$ovrell_median" "$ref_median")
  return 0
}

# Throughput (MiB of input per second) against file size, for S1 to S3 on
# each shape and their references (on the first shape): a line per program;
# input is both files for ovrell and cat, one file for xxd.
draw_plot() {
  local svg=$repo/docs/benchmark.svg table=$build/plot.dat
  printf '%s\n' "${points[@]}" | awk -v first="${shapes[0]}" '
    { size = $1; mib = size / 1048576; sizes[size] = mib; t[size, $2, $3] = $4
      if ($3 == first) r[size, $2] = $5 }
    function rate(files, s, time) { return time ? files * sizes[s] / time : "NaN" }
    END {
      print "# size_MiB f0-edited f0-random cat f1-edited f1-random xxd-p f4-edited f4-random xxd-b"
      for (s in sizes) {
        line = sizes[s]
        line = line " " rate(2, s, t[s, "S1", "edited"]) " " rate(2, s, t[s, "S1", "random"]) " " rate(2, s, r[s, "S1"])
        line = line " " rate(2, s, t[s, "S2", "edited"]) " " rate(2, s, t[s, "S2", "random"]) " " rate(1, s, r[s, "S2"])
        line = line " " rate(2, s, t[s, "S3", "edited"]) " " rate(2, s, t[s, "S3", "random"]) " " rate(1, s, r[s, "S3"])
        print line
      }
    }' | sort -n >"$table"
  gnuplot <<GNUPLOT
set terminal svg size 900,520 dynamic enhanced font "sans,12" background "white"
set output "$svg"
set title "ovrell and its references: throughput against file size ($(nproc) cores, page cache hot)"
set logscale xy
set xlabel "file size (MiB)"
set ylabel "input read per second (MiB/s)"
set key outside right
set grid
plot "$table" using 1:2 with linespoints lw 2 lc 1 title "ovrell -f 0, edited (2 files)", \
     "$table" using 1:3 with linespoints lw 2 lc 1 dt 4 title "ovrell -f 0, random (2 files)", \
     "$table" using 1:4 with linespoints lc 1 dt 2 title "cat (2 files)", \
     "$table" using 1:5 with linespoints lw 2 lc 2 title "ovrell -f 1, edited", \
     "$table" using 1:6 with linespoints lw 2 lc 2 dt 4 title "ovrell -f 1, random", \
     "$table" using 1:7 with linespoints lc 2 dt 2 title "xxd -p (1 file)", \
     "$table" using 1:8 with linespoints lw 2 lc 3 title "ovrell -f 4, edited", \
     "$table" using 1:9 with linespoints lw 2 lc 3 dt 4 title "ovrell -f 4, random", \
     "$table" using 1:10 with linespoints lc 3 dt 2 title "xxd -b (1 file)"
GNUPLOT
  log "plot: $svg"
}

# Time per MiB of input (both files) of S1 and of cat at each size, and the
# same less the time each takes on two 4 KiB files (S0: starting a process,
# reading the project, exiting), with the spread over the sizes (largest /
# smallest - 1), on the first shape. Prints nothing unless S1 ran at two
# sizes or more.
time_per_mib() {
  printf '%s\n' "${points[@]}" | sort -n | awk -v s0="${startup[0]:-}" -v c0="${startup[1]:-}" -v first="${shapes[0]}" '
    $2 == "S1" && $3 == first { n++; mib[n] = 2 * $1 / 1048576; t[n] = $4; r[n] = $5 }
    function spread(a, b, lo, hi, i) {
      lo = hi = a[1] / b[1]
      for (i = 2; i <= n; i++) { v = a[i] / b[i]; if (v < lo) lo = v; if (v > hi) hi = v }
      return sprintf("%.0f %%", 100 * (hi / lo - 1))
    }
    END {
      if (n < 2) exit
      print "Time per MiB of input, S1 on the " first " files (net: less the time on two 4 KiB files, S0):"
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

# The worse shape of each row: a line of the summary per scenario and size.
summary_row() {
  local key=$1 target=${summary_targets[$1]} worst="" cells=() entry shape ratio spread
  IFS=';' read -r -a entries <<<"${summary[$key]}"
  for entry in "${entries[@]}"; do
    read -r shape ratio spread <<<"$entry"
    cells+=("$shape $ratio ($spread)")
    [[ -z $worst ]] || awk -v a="$ratio" -v b="$worst" 'BEGIN { exit !(a > b) }' && worst=$ratio
  done
  local ok
  ok=$(awk -v r="$worst" -v t="$target" 'BEGIN { print (t == "" ? "-" : r <= t ? "ok" : "FAIL") }')
  local joined
  joined=$(printf '%s; ' "${cells[@]}")
  echo "| $key | ${joined%; } | $worst | ${target:+<= $target} | $ok |"
}

load_start=$(cut -d' ' -f1-3 /proc/loadavg)
points=()
startup=()
declare -A summary=() summary_targets=()
summary_keys=()
mkdir -p "$work"
for id in "${only[@]}"; do
  # The sizes and shapes of a scenario take turns round by round, so that a
  # change in the machine's speed during the run falls on all of them alike.
  labels=("")
  [[ $id =~ ^(S1|S2|S3|S1b|S1m)$ ]] && labels=("${sizes[@]}")
  [[ $id == S5 ]] && labels=(16M 256M)
  [[ $id == S5m || $id == S5q ]] && labels=(16M)
  # On random files -d writes a stretch per differing bit: 1.4 GB for S5 at
  # 16 MiB (S5 and S6 show it), 20 GB at 256 MiB, 5.5 GB a run for M1; and
  # the report's JSON of two such files of 16 MiB takes 7 GB. Those rows,
  # and the twins of S5 (-m 16MB, -q), run on the edited files only.
  runs_on() {
    [[ $3 == edited ]] && return 0
    [[ ! ($1 == S5 && $2 == 256M) && ! $1 =~ ^(S5m|S5q|M1|R2|E1)$ ]]
  }
  for ((round = 0; round <= runs; round++)); do
    for size in "${labels[@]}"; do
      for shape in "${shapes[@]}"; do
        runs_on "$id" "$size" "$shape" && scenario_round "$id" "$size" "$shape" "$round"
      done
    done
  done
  for size in "${labels[@]}"; do
    for shape in "${shapes[@]}"; do
      runs_on "$id" "$size" "$shape" && scenario_row "$id" "$size" "$shape"
    done
  done
done
[[ $plot -eq 1 ]] && draw_plot

# --- Report ----------------------------------------------------------------------

cpu=$(awk -F': *' '/^model name/ { print $2; exit }' /proc/cpuinfo)
memory=$(awk '/^MemTotal/ { printf "%.1f GiB", $2 / 1048576 }' /proc/meminfo)
compiler=$(awk -F= '/^CMAKE_CXX_COMPILER:/ { print $2 }' "$build/CMakeCache.txt")
compiler=$("$compiler" --version | head -n 1)
{
  echo "| scenario | what | ovrell median (s) | reference median (s) | ratio | spread | target | time |" \
    "peak RSS (MiB) | limit + 16 MiB | memory | ns per masked bit |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|---|"
  printf '%s\n' "${rows[@]}"
  echo
  echo "Summary, the worse shape of each row (for the README):"
  echo
  echo "| scenario | ratio per shape (spread) | worse | target | time |"
  echo "|---|---|---|---|---|"
  for key in "${summary_keys[@]}"; do summary_row "$key"; done
  echo
  for note in "${notes[@]}"; do echo "- $note"; done
  [[ ${#notes[@]} -gt 0 ]] && echo
  time_per_mib
  echo "Medians of $runs pairs (ovrell, then the reference) after a warm-up pair; a ratio is the" \
    "median of the per-pair ratios, the spread their lowest and highest. S5q, S6: linear is" \
    "'ovrell', quadratic the reference; ns per masked bit is linear / quadratic there. R1, R2, E1, E2:" \
    "'ovrell' is ovrell-report. Load average at the start and the end: $load_start; $(cut -d' ' -f1-3 /proc/loadavg)."
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
