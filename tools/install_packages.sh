#!/usr/bin/env bash
# Installs those of the given Debian packages that are missing; does nothing
# (and needs no root) when all are installed.
#
#   tools/install_packages.sh PACKAGE...
set -euo pipefail

missing=()
for package in "$@"; do
  if ! dpkg -s "$package" >/dev/null 2>&1; then
    missing+=("$package")
  fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
  echo "==> all required packages are installed"
  exit 0
fi
echo "==> installing: ${missing[*]}"
if [[ $(id -u) -ne 0 ]]; then
  echo "error: installing packages needs root; run this script as root" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
