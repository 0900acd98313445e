#!/usr/bin/env bash
# Installs into a scratch root with cmake --install, or as the .deb unpacked
# with dpkg -x: exactly the expected files, and the installed program runs
# the installed example. The .deb also: version, Depends, lintian errors.
#   install_test.sh install|deb BUILD_DIR SOURCE_DIR
set -euo pipefail
trap 'echo "$0 $1: line $LINENO failed" >&2' ERR
mode=$1 build=$2 source=$3
# Both installs write the build's install_manifest.txt: keep the user's.
tmp=$(mktemp -d) manifest=$build/install_manifest.txt
[[ ! -f $manifest ]] || cp -p "$manifest" "$tmp/manifest"
trap 'mv "$tmp/manifest" "$manifest" 2>/dev/null || rm -f "$manifest"; rm -rf "$tmp"' EXIT
version=$("$build/ovrell" --version | sed 's/^Ovrell - version \([^,]*\),.*/\1/')
doc=share/doc/ovrell

if [[ $mode == install ]]; then
  cmake --install "$build" --prefix "$tmp/root" >/dev/null
  usr=""
  expected="share/man/man1/ovrell.1 share/man/man1/ovrell-report.1 share/man/man1/ovrell-patch.1"
  expected+=" $doc/CHANGELOG.md $doc/LICENSE"
else
  cpack -G DEB -B "$tmp" --config "$build/CPackConfig.cmake" >/dev/null
  deb=$tmp/ovrell_${version}_$(dpkg --print-architecture).deb
  [[ $(dpkg-deb -f "$deb" Version) == "$version" ]]
  [[ $(dpkg-deb -f "$deb" Depends) == *libboost-program-options* ]]
  dpkg -x "$deb" "$tmp/root"
  usr=usr/
  expected="share/man/man1/ovrell.1.gz share/man/man1/ovrell-report.1.gz"
  expected+=" share/man/man1/ovrell-patch.1.gz $doc/changelog.gz"
  expected+=" $doc/copyright"
  [[ $(zcat "$tmp/root/usr/$doc/changelog.gz") == "ovrell ($version) "* ]]
  [[ $(man -l "$tmp/root/usr/share/man/man1/ovrell.1.gz") == *$'\nSYNOPSIS\n'* ]]
  if command -v lintian >/dev/null; then lintian --fail-on error "$deb"; fi
fi

expected+=" bin/ovrell bin/ovrell-report bin/ovrell-patch share/bash-completion/completions/ovrell"
expected+=" share/bash-completion/completions/ovrell-report"
expected+=" share/bash-completion/completions/ovrell-patch $doc/README.md"
expected+=" $(cd "$source" && find examples -type f -printf "$doc/%p ")"
diff <(printf "$usr%s\n" $expected | sort) <(cd "$tmp/root" && find . ! -type d | cut -c3- | sort)

bin=$tmp/root/${usr}bin/ovrell
[[ $("$bin" --version) == "$("$build/ovrell" --version)" ]]
cmp <("$bin" -p "$tmp/root/$usr$doc/examples/project.txt" -x model) \
  <("$build/ovrell" -p "$source/examples/project.txt" -x model)
cmp <("$tmp/root/${usr}bin/ovrell-report" -p "$tmp/root/$usr$doc/examples/project.txt") \
  <("$build/ovrell-report" -p "$source/examples/project.txt")
examples=$tmp/root/$usr$doc/examples
"$tmp/root/${usr}bin/ovrell-patch" -p "$examples/project.txt" --set model=X200 \
  -o "$tmp/x200.bin" "$examples/dumps/x100-eu-1.bin" >/dev/null
python3 -c 'import sys, zlib; d = open(sys.argv[1], "rb").read()
sys.exit(d[5] != 2 or d[252:] != zlib.crc32(d[:252]).to_bytes(4, "little"))' "$tmp/x200.bin"
