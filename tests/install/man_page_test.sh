#!/usr/bin/env bash
# A man page: no groff warning, every section rendered, the program's
# version, OPTIONS exactly the options of the help (ovrell's hidden -a too),
# and no other option of the program named anywhere.
#   man_page_test.sh PROGRAM PAGE
set -euo pipefail
program=$1 page=$2 name=$(basename "$1")
fail() { echo "$page: $*" >&2; exit 1; }

warnings=$(groff -man -ww -z "$page" 2>&1) && [[ -z $warnings ]] || fail "groff: $warnings"
rendered=$(MANWIDTH=80 man -l "$page" 2>&1) || fail "man -l failed: $rendered"
for section in NAME SYNOPSIS DESCRIPTION OPTIONS 'PROJECT FILE' OUTPUT 'EXIT STATUS' \
  ENVIRONMENT FILES EXAMPLES 'SEE ALSO'; do
  grep -qx "$section" <<<"$rendered" || fail "no section $section"
done
version=$("$program" --version | sed 's/^[A-Za-z-]* - version \([^,]*\),.*/\1/')
grep -q "^\.TH ${name^^} 1 [0-9-]* \"ovrell $version\"" "$page" || fail "not version $version"

# "-s --long" or "--long" for every option of the help.
options=$({ "$program" -h | sed -n 's/^  \(-[a-z]\) \[ \(--[a-z-]*\) \].*/\1 \2/p; s/^  \(--[a-z-]*\)\( .*\)\{0,1\}$/\1/p'
  if [[ $name == ovrell ]]; then echo '-a --attributes'; fi; } | sort)
text=$(sed 's/\\-/-/g; s/\\f[BIRP]//g' "$page")
tags=$(sed -n '/^\.SH OPTIONS/,/^\.SH /{/^\.TP/{n;p}}' <<<"$text" |
  sed -n 's/^\.BR \(-[a-z]\) ", " \(--[a-z-]*\).*/\1 \2/p; s/^\.B[I]\{0,1\} \(--[a-z-]*\).*/\1/p' |
  sort)
[[ $tags == "$options" ]] || fail "OPTIONS differ from the help:"$'\n'"$(diff <(echo "$options") <(echo "$tags"))"

# Long names anywhere; short ones on markup and command lines (-xqinb too).
for long in $(grep -o -- '--[a-z][a-z-]*' <<<"$text"); do
  grep -qE -- "(^| )$long\$" <<<"$options" || fail "names $long"
done
for short in $(grep -E "^(\.(B|BR|RB|OP) |(\\$ )?$name )" <<<"$text" |
  grep -oE -- '(^| |\()-[a-zA-Z]+' | tr -d ' (-' | fold -w1); do
  grep -q -- "^-$short " <<<"$options" || fail "names -$short"
done
