#!/usr/bin/env bash
# The README's examples: every `$ ` line of a ```console block runs (in a
# scratch directory that sees the repository's examples/ and the build as
# build/) and prints exactly the lines that follow it.
#   readme_test.sh README BUILD_DIR SOURCE_DIR
set -euo pipefail
readme=$1 build=$(cd "$2" && pwd) source=$(cd "$3" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
ln -s "$source/examples" "$scratch/examples"
ln -s "$build" "$scratch/build"
awk -v dir="$scratch" '
  /^```console$/ { inside = 1; next }
  /^```$/ && inside { inside = 0; next }
  inside && /^\$ / { n++; print substr($0, 3) > (dir "/cmd" n); close(dir "/cmd" n); printf "" > (dir "/want" n); next }
  inside { print >> (dir "/want" n); close(dir "/want" n) }
  END { print n > (dir "/count") }' "$readme"
count=$(cat "$scratch/count")
[[ $count -gt 0 ]] || { echo "$readme: no console example" >&2; exit 1; }
for ((i = 1; i <= count; i++)); do
  got=$(cd "$scratch" && sh "cmd$i" 2>&1) || true
  if [[ $got != "$(cat "$scratch/want$i")" ]]; then
    echo "$readme: \$ $(cat "$scratch/cmd$i")" >&2
    diff <(echo "$got") "$scratch/want$i" >&2 || true
    exit 1
  fi
done
echo "$count README examples ran as shown"
