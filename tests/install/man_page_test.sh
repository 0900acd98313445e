#!/usr/bin/env bash
# The man page: no groff warning, every section rendered, the program's
# version, OPTIONS exactly the help's pairs of names plus the hidden -a, and
# no other ovrell option named anywhere.
#   man_page_test.sh OVRELL PAGE
set -euo pipefail
ovrell=$1 page=$2
fail() { echo "$page: $*" >&2; exit 1; }

warnings=$(groff -man -ww -z "$page" 2>&1) && [[ -z $warnings ]] || fail "groff: $warnings"
rendered=$(MANWIDTH=80 man -l "$page" 2>&1) || fail "man -l failed: $rendered"
for section in NAME SYNOPSIS DESCRIPTION OPTIONS 'PROJECT FILE' OUTPUT 'EXIT STATUS' \
  ENVIRONMENT FILES EXAMPLES 'SEE ALSO'; do
  grep -qx "$section" <<<"$rendered" || fail "no section $section"
done
version=$("$ovrell" --version | sed 's/^Ovrell - version \([^,]*\),.*/\1/')
grep -q "^\.TH OVRELL 1 [0-9-]* \"ovrell $version\"" "$page" || fail "not version $version"

pairs=$({ "$ovrell" -h | sed -n 's/^  \(-[a-z]\) \[ \(--[a-z-]*\) \].*/\1 \2/p'
  echo '-a --attributes'; } | sort)
text=$(sed 's/\\-/-/g; s/\\f[BIRP]//g' "$page")
tags=$(sed -n '/^\.SH OPTIONS/,/^\.SH /{/^\.TP/{n;p}}' <<<"$text" |
  sed -n 's/^\.BR \(-[a-z]\) ", " \(--[a-z-]*\).*/\1 \2/p' | sort)
[[ $tags == "$pairs" ]] || fail "OPTIONS differ from the help:"$'\n'"$(diff <(echo "$pairs") <(echo "$tags"))"

# Long names anywhere; short ones on markup and command lines (-xqinb too).
for long in $(grep -o -- '--[a-z][a-z-]*' <<<"$text"); do
  grep -q -- " $long\$" <<<"$pairs" || fail "names $long"
done
for short in $(grep -E '^(\.(B|BR|RB|OP) |(\$ )?ovrell )' <<<"$text" |
  grep -oE -- '(^| |\()-[a-zA-Z]+' | tr -d ' (-' | fold -w1); do
  grep -q -- "^-$short " <<<"$pairs" || fail "names -$short"
done
