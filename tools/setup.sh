#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine for ovrell, builds it and runs it.
#
#   tools/setup.sh example   install what is missing, build, and print the
#                            commonalities of the shipped example data set
#   tools/setup.sh test      install what is missing, build, and run the
#                            whole test suite (non-zero exit on failure)
#
# Run it as root (it installs Debian packages when some are missing). It can
# be run again at any time: installed packages are left alone and the build
# directory `build` at the repository root is reused.
set -euo pipefail

usage() {
  echo "usage: $0 example|test" >&2
  exit 2
}

[[ $# -eq 1 ]] || usage
mode=$1
case "$mode" in
  example | test) ;;
  *) usage ;;
esac

cd "$(dirname "${BASH_SOURCE[0]}")/.."
echo "==> repository: $(pwd)"

packages=(
  build-essential
  cmake
  libboost-program-options-dev
  libboost-filesystem-dev
  libsparsehash-dev
  libgtest-dev
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg -s "$package" >/dev/null 2>&1; then
    missing+=("$package")
  fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
  echo "==> all required packages are installed"
else
  echo "==> installing: ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then
    echo "error: installing packages needs root; run this script as root" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update
  apt-get install -y --no-install-recommends "${missing[@]}"
fi

echo "==> configuring: cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo

jobs=$(nproc 2>/dev/null || echo 1)
echo "==> building: cmake --build build -j $jobs"
cmake --build build -j "$jobs"

case "$mode" in
  example)
    for attribute in model region; do
      echo "==> commonalities of '$attribute':" \
        "build/ovrell -p examples/project.txt -x $attribute"
      build/ovrell -p examples/project.txt -x "$attribute"
      echo  # the tool ends its output without a line end
    done
    ;;
  test)
    echo "==> testing: ctest --test-dir build --output-on-failure -j2"
    ctest --test-dir build --output-on-failure -j2
    echo "==> all tests passed"
    ;;
esac
