#!/usr/bin/env bash
# Drives the completion of bash: bash_completion_test.sh COMPLETION-FILE
set -uo pipefail
# shellcheck source=/dev/null
. /usr/share/bash-completion/bash_completion && . "$1"
HOME=$(mktemp -d)
trap 'rm -rf "$HOME"' EXIT
cd "$HOME" || exit 2
mkdir -p sub/deep 'my captures'
touch a.pcap 'b c.pcapng' d.cap e.PCAP.GZ f.bz2 g.bzip2 x=1.zst notes.txt pcap sub/inner.{cap,log} 'my captures/mine.gz'

failures=0
# expect LINE CANDIDATE...: the cursor is behind the line's last character.
expect() {
  COMP_LINE=$1 COMP_POINT=${#1} COMPREPLY=()
  read -ra COMP_WORDS <<<"${1//\\ /@}"  # a quoted blank divides no words
  COMP_WORDS=("${COMP_WORDS[@]//@/\\ }")
  [[ $1 != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _seamtool
  diff <(printf '%s\n' "${@:2}" | sort) <(printf '%s\n' "${COMPREPLY[@]}" | sort) && return
  echo "\"$1\": the candidates differ (< expected, > offered)"
  failures=$((failures + 1))
}

paths=(a.pcap 'b c.pcapng' d.cap e.PCAP.GZ f.bz2 g.bzip2 'my captures' sub)
expect 'seamtool ' -squish -squish10 -r --exact --version "${paths[@]}"
expect 'seamtool -s' -squish -squish10
expect 'seamtool -squish ' -r "${paths[@]}"
expect 'seamtool -r ' 'my captures' sub
expect 'seamtool -squish10 -r s' sub
expect 'seamtool -r sub ' deep/ inner.cap
expect 'seamtool -r my\ captures m' mine.gz
expect 'seamtool -r ~/sub i' inner.cap
expect 'seamtool -r missing '
expect 'seamtool -r sub inner.cap -out ' deep/
expect 'seamtool sub/' sub/deep sub/inner.cap
expect 'seamtool n'
expect 'seamtool a.pcap ' -out "${paths[@]}"
expect 'seamtool -squish10 a.pcap -' -out
expect 'seamtool a.pcap -out x '
expect 'seamtool --version '

options=(--from= --to= --snaplen= --dedup --dedup= --concatenate --files-from= --format= --compress= --report=
  --progress --quiet --help --version)
expect 'seamtool --exact ' -squish -squish10 -r "${options[@]}" "${paths[@]}" x=1.zst
expect 'seamtool --exact --quiet --f' --from= --files-from= --format=
expect 'seamtool --exact --format=pcap' pcap pcap-ns pcapng
expect 'seamtool --exact --compress=' gzip zstd none
expect 'seamtool --exact --files-from=n' notes.txt
expect 'seamtool --exact --report=s' sub
expect 'seamtool --exact x=1' 1.zst
expect 'seamtool --exact --dedup=1 -squish ' -r "${paths[@]}" x=1.zst
expect 'seamtool --exact --quiet -r sub ' deep/ inner.cap
expect 'seamtool --exact -- a.pcap -' -out
expect 'seamtool --exact a.pcap -out ' 'my captures' sub
expect 'seamtool --exact --help '
expect 'seamtool a.pcap --exact --format='
((failures == 0))
