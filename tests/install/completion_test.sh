#!/usr/bin/env bash
# The bash completion, called as bash calls it for a cursor at the end of
# the line, with compopt written to compopt.log instead of run.
#   completion_test.sh COMPLETION OVRELL
set -uo pipefail
source /usr/share/bash-completion/bash_completion
source "$1" || exit 1
ovrell=$2 failures=0
cd "$(mktemp -d)" && trap 'rm -rf "$PWD"' EXIT
compopt() { echo "$*" >>compopt.log; }

# check WANT WORD...: the completions of the last word, sorted, one a line.
check() {
  local want=$1 got
  shift
  COMP_WORDS=(ovrell "$@") COMP_CWORD=$# COMP_LINE="ovrell $*"
  COMP_POINT=${#COMP_LINE} COMPREPLY=()
  got=$(_ovrell ovrell "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>&1
    printf '%s\n' "${COMPREPLY[@]}" | sort)
  [[ $got == "$want" ]] || { echo "ovrell $*<TAB>: [$got], not [$want]"; failures=1; }
}

# The header comes after a comment and a blank line; its first field titles
# the file column; the quoted, escaped and commented names that ovrell reads.
printf '# set\n\n  file, model "sales region",'\''it\\'\''s'\'' a\\ b#c d\nx.bin 1 2 3 4\n' >p.txt
cp p.txt 'my p.txt' && mkdir dir
all=$'a b\nit\'s\nmodel\nsales region'
check "$all" -p p.txt ''
check "$all" -x -p "'my p.txt'" -f 1 ''
check 'model' -pp.txt -a m
HOME=$PWD check 'model' --project-file '~/p.txt' -a m
check 'sales region' --project-f=p.txt x '"sal'
check 'sales region' -p my\\\ p.txt 'sales\ r'
grep -qx -- '-o filenames' compopt.log || { echo "names not quoted as file names"; failures=1; }
printf 'file "model\n' >unclosed.txt
for project in missing.txt dir unclosed.txt; do check '' -p $project ''; done
check '' ''

check $'0\n1\n2\n3\n4' -p p.txt --form ''
check $'1\n2\n4\n8' -e ''
check 'my p.txt' -p m
check 'dir' -r ''
check "$({ "$ovrell" -h | grep -oE -- '--?[a-z-]+ \[ --[a-z-]+' | tr -d '['
  echo '-a --attributes'; } | tr ' ' '\n' | grep . | sort)" -

# ovrell-report: its own options, the same attribute names.
source "$(dirname "$1")/ovrell-report" || exit 1
report() {
  local want=$1 got
  shift
  COMP_WORDS=(ovrell-report "$@") COMP_CWORD=$# COMP_LINE="ovrell-report $*"
  COMP_POINT=${#COMP_LINE} COMPREPLY=()
  got=$(_ovrell_report ovrell-report "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>&1
    printf '%s\n' "${COMPREPLY[@]}" | sort)
  [[ $got == "$want" ]] || { echo "ovrell-report $*<TAB>: [$got], not [$want]"; failures=1; }
}
report "$all" --bits -p p.txt ''
report 'my p.txt' --json m
report 'my p.txt' --ksy m
report $'--help\n--html' --h

# ovrell-patch: after --set, the names with '=', then the named one's values.
source "$(dirname "$1")/ovrell-patch" || exit 1
printf 'file model region\na.bin X100 EU\nb.bin X200 US\nc.bin X100 "north west"\n' >q.txt
patch() {
  local want=$1 got
  shift
  COMP_WORDS=(ovrell-patch "$@") COMP_CWORD=$# COMP_LINE="ovrell-patch $*"
  COMP_POINT=${#COMP_LINE} COMPREPLY=()
  got=$(_ovrell_patch ovrell-patch "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>&1
    printf '%s\n' "${COMPREPLY[@]}" | sort)
  [[ $got == "$want" ]] || { echo "ovrell-patch $*<TAB>: [$got], not [$want]"; failures=1; }
}
patch $'model=\nregion=' -p q.txt --set ''
patch 'region=' -p q.txt -o x --set r
patch $'X100\nX200' -p q.txt --set model=
patch $'EU\nUS\nnorth west' -p q.txt --set region=
patch 'X200' -pq.txt --set model=X2
patch '' -p q.txt --set colour=
patch '--output' --o
exit $failures
