#!/usr/bin/env bash
# Checks that every C++ source and header of the repository is formatted as
# .clang-format says (Debian's clang-format). Prints the places that are not
# and exits non-zero; `tools/check_format.sh --fix` formats them instead.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mapfile -t files < <(git ls-files '*.cpp' '*.h')
if [[ ${1:-} == --fix ]]; then
  clang-format -i "${files[@]}"
  exit 0
fi
clang-format --dry-run -Werror "${files[@]}"
echo "==> format: ${#files[@]} files as .clang-format says"
