#!/usr/bin/env bash
# Builds the libFuzzer targets (tests/fuzz) with clang in build-fuzz/ and runs
# each of them for a while.
#
#   tools/fuzz.sh [seconds]   seconds per target, default 60
#
# Each target starts from a copy of its seed corpus (tests/fuzz/corpus/NAME),
# kept and grown in build-fuzz/fuzz/NAME/corpus; the repository's corpus is
# only read. The fuzzer's log is build-fuzz/fuzz/NAME/fuzz.log and a failing
# input lands in build-fuzz/fuzz/NAME/artifacts/. Prints one summary line per
# target and exits non-zero if any target reports a crash, a leak, a timeout,
# running out of memory or a sanitizer finding.
set -euo pipefail

seconds=${1:-60}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: $0 [seconds]   (a whole number of seconds per target, default 60)" >&2
  exit 2
fi

cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=build-fuzz
targets=(tokenizer project_file)
jobs=$(nproc 2>/dev/null || echo 1)

echo "==> configuring the fuzz build: $build (clang, -DOVRELL_BUILD_FUZZERS=ON)"
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOVRELL_WERROR=ON \
  -DOVRELL_BUILD_TESTS=OFF -DOVRELL_BUILD_FUZZERS=ON >/dev/null
echo "==> building: cmake --build $build -j $jobs --target ${targets[*]/%/_fuzzer}"
cmake --build "$build" -j "$jobs" --target "${targets[@]/%/_fuzzer}"

# The value of a "stat::NAME: value" line of libFuzzer's final stats.
final_stat() { sed -n "s/^stat::$1: *//p" "$2" | tail -n 1; }

failed=()
for target in "${targets[@]}"; do
  work=$build/fuzz/$target
  rm -rf "$work/artifacts"
  mkdir -p "$work/corpus" "$work/artifacts"
  cp tests/fuzz/corpus/"$target"/* "$work/corpus/"
  log=$work/fuzz.log

  echo "==> fuzzing $target for ${seconds}s (log: $log)"
  status=0
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "$build/tests/fuzz/${target}_fuzzer" -max_total_time="$seconds" -timeout=20 \
    -rss_limit_mb=2048 -max_len=524288 -print_final_stats=1 \
    -dict="tests/fuzz/$target.dict" -artifact_prefix="$work/artifacts/" \
    "$work/corpus" >"$log" 2>&1 || status=$?

  runs=$(final_stat number_of_executed_units "$log")
  speed=$(final_stat average_exec_per_sec "$log")
  cov=$(sed -n 's/.*\(DONE\|pulse\|NEW\|REDUCE\|INITED\) *cov: \([0-9]*\).*/\2/p' "$log" | tail -n 1)
  echo "$target: ${speed:-?} executions per second, ${runs:-?} executions," \
    "cov: ${cov:-?}, corpus: $(ls "$work/corpus" | wc -l) files"

  if [[ $status -ne 0 ]] || [[ -n $(ls -A "$work/artifacts") ]] ||
    grep -q -E '^(==[0-9]+== ?ERROR|SUMMARY: )|runtime error:|ERROR: libFuzzer' "$log"; then
    echo "error: $target failed (exit status $status); the end of $log:" >&2
    tail -n 60 "$log" >&2
    ls "$work/artifacts" | sed "s|^|failing input: $work/artifacts/|" >&2
    failed+=("$target")
  fi
done

if [[ ${#failed[@]} -ne 0 ]]; then
  echo "error: fuzz targets failed: ${failed[*]}" >&2
  exit 1
fi
echo "==> fuzzing passed: ${targets[*]}"
