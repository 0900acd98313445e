#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine for ovrell, builds it and runs it.
#
#   tools/setup.sh example   install what is missing, build, and print the
#                            report, commonalities and dissimilarities of
#                            the shipped example data set, and patch one
#                            of its dumps into another model
#   tools/setup.sh test      install what is missing, build with warnings
#                            as errors, check the sources' format, and run
#                            the whole test suite twice: on the release build
#                            (build/), where it also checks the man page,
#                            the bash completion, cmake --install and the
#                            Debian package, and on a build with
#                            AddressSanitizer and UndefinedBehaviorSanitizer
#                            (build-asan/); then run every fuzz target for a
#                            minute (build-fuzz/); non-zero exit on any
#                            failure
#
# Run it as root (it installs Debian packages when some are missing). It can
# be run again at any time: installed packages are left alone and the build
# directories at the repository root are reused.
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
  nlohmann-json3-dev
)
if [[ $mode == test ]]; then
  # The sanitizer build and the fuzz targets are built with clang.
  packages+=(clang libclang-rt-dev)
  # The format check (tools/check_format.sh).
  packages+=(clang-format)
  # Tests read JSON and make real files with the standard tools: python3
  # (json, zlib for PNGs with stored deflate), e2fsprogs (mke2fs), tar, gzip,
  # zip, dosfstools (mkfs.fat), mtools (files on FAT volumes), and pngcheck,
  # which judges the PNGs ovrell-patch writes.
  packages+=(python3 e2fsprogs tar gzip zip dosfstools mtools pngcheck)
  # The installation tests: the man page (groff, man-db), the bash
  # completion, and the Debian package (dpkg-dev and file for CPack's
  # dependency list, lintian to check it).
  packages+=(groff man-db bash-completion dpkg-dev file lintian)
  # The report's picture is checked in a real browser, headless.
  packages+=(chromium)
  # The report's Kaitai Struct description is compiled and run by node
  # (Debian's npm, unless a nodejs of another origin brought its own).
  packages+=(nodejs)
  command -v npm >/dev/null || packages+=(npm)
fi

tools/install_packages.sh "${packages[@]}"

if [[ $mode == test ]]; then
  # The Kaitai Struct compiler, its JavaScript runtime and a YAML reader,
  # from the npm registry, where tests/report/ksy/ksy_test.sh looks for
  # them (it skips itself without them).
  kaitai=/opt/ovrell-kaitai
  if ! NODE_PATH=$kaitai/node_modules node -e \
    'for (const m of ["kaitai-struct-compiler", "kaitai-struct", "js-yaml"]) require(m)' \
    2>/dev/null; then
    echo "==> installing the Kaitai Struct compiler into $kaitai (npm)"
    npm install --prefix "$kaitai" --no-audit --no-fund \
      kaitai-struct-compiler kaitai-struct js-yaml
  fi
fi

# The test command treats compiler warnings as errors, so that none lands;
# an install for use does not, so that a newer compiler cannot stop it.
werror=OFF
[[ $mode == test ]] && werror=ON
echo "==> configuring: cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOVRELL_WERROR=$werror"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOVRELL_WERROR=$werror

jobs=$(nproc 2>/dev/null || echo 1)
echo "==> building: cmake --build build -j $jobs"
cmake --build build -j "$jobs"

case "$mode" in
  example)
    # The runs write their dissimilarities files (and, while they run, a
    # temporary file) in the working directory: use one inside build/.
    mkdir -p build/example
    echo "==> which bytes encode each attribute, and each group's values there:" \
      "build/ovrell-report -p examples/project.txt --bits --html build/example/report.html"
    build/ovrell-report -p examples/project.txt --bits --html build/example/report.html
    echo "==> the picture: build/example/report.html"
    for attribute in model region; do
      echo "==> commonalities and dissimilarities of '$attribute', in build/example:" \
        "../ovrell -p ../../examples/project.txt -x -d dis-$attribute $attribute"
      (cd build/example &&
        ../ovrell -p ../../examples/project.txt -x -d "dis-$attribute" "$attribute")
      echo  # the tool ends its output without a line end
      echo "==> build/example/dis-$attribute:"
      cat "build/example/dis-$attribute"
    done
    echo "==> an X100 dump turned into an X200, its CRC-32 fixed:" \
      "build/ovrell-patch -p examples/project.txt --set model=X200" \
      "-o build/example/x200.bin examples/dumps/x100-eu-1.bin"
    build/ovrell-patch -p examples/project.txt --set model=X200 \
      -o build/example/x200.bin examples/dumps/x100-eu-1.bin
    ;;
  test)
    echo "==> checking the format: tools/check_format.sh"
    tools/check_format.sh
    echo "==> testing: ctest --test-dir build --output-on-failure -j2"
    ctest --test-dir build --output-on-failure -j2

    echo "==> configuring the sanitizer build: build-asan (clang, -DOVRELL_SANITIZE=ON)"
    CC=clang CXX=clang++ cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DOVRELL_WERROR=ON \
      -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DOVRELL_SANITIZE=ON
    echo "==> building: cmake --build build-asan -j $jobs"
    cmake --build build-asan -j "$jobs"
    echo "==> testing under the sanitizers: ctest --test-dir build-asan --output-on-failure -j2"
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      ctest --test-dir build-asan --output-on-failure -j2

    echo "==> fuzzing: tools/fuzz.sh 60 (build-fuzz, each fuzz target for 60 seconds)"
    tools/fuzz.sh 60
    echo "==> all tests passed"
    ;;
esac
