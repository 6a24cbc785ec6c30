#!/usr/bin/env bash
# Drives the completion of bash: bash_completion_test.sh COMPLETION-FILE
set -uo pipefail

# shellcheck source=/dev/null
. /usr/share/bash-completion/bash_completion
# shellcheck source=/dev/null
. "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
mkdir -p sub/deep 'my captures' home
HOME=$work/home
touch a.pcap 'b c.pcapng' d.cap e.PCAP.GZ f.bz2 g.bzip2 notes.txt pcap sub/inner.cap sub/inner.log \
  'my captures/mine.pcap' home/own.gz

rows=0 failures=0
# expect LINE CANDIDATE...: the cursor is behind the line's last character.
expect() {
  local line=$1 actual expected=
  shift
  read -ra COMP_WORDS <<<"${line//\\ /@}"
  COMP_WORDS=("${COMP_WORDS[@]//@/\\ }")
  [[ $line != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$line COMP_POINT=${#line} COMPREPLY=()
  _seamtool
  actual=$(printf '<%s>\n' "${COMPREPLY[@]}" | LC_ALL=C sort)
  expected=$(printf '<%s>\n' "$@" | LC_ALL=C sort)
  rows=$((rows + 1))
  [[ $actual == "$expected" ]] && return
  failures=$((failures + 1))
  echo "\"$line\": expected $expected but got $actual"
}

directories=('my captures' home sub)
paths=(a.pcap 'b c.pcapng' d.cap e.PCAP.GZ f.bz2 g.bzip2 "${directories[@]}")
expect 'seamtool ' -squish -squish10 -r --version "${paths[@]}"
expect 'seamtool -s' -squish -squish10
expect 'seamtool -squish ' -r "${paths[@]}"
expect 'seamtool -squish10 -' -r
expect 'seamtool -r ' "${directories[@]}"
expect 'seamtool -squish -r s' sub
expect 'seamtool -r sub ' deep/ inner.cap
expect 'seamtool -r my\ captures m' mine.pcap
expect 'seamtool -r ~/ ' own.gz
expect 'seamtool -r missing '
expect 'seamtool -r sub inner.cap -out ' deep/
expect 'seamtool sub/' sub/deep sub/inner.cap
expect 'seamtool n'
expect 'seamtool a.pcap ' -out "${paths[@]}"
expect 'seamtool a.pcap -squish'
expect 'seamtool -squish10 a.pcap -' -out
expect 'seamtool a.pcap -out ' "${directories[@]}"
expect 'seamtool a.pcap -out x '
expect 'seamtool --version '
echo "$((rows - failures)) passed, $failures failed"
((failures == 0))
