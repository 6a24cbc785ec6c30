#!/usr/bin/env zsh
# Types into a zsh of its own and presses TAB: zsh_completion_test.zsh FOLDER-OF-THE-COMPLETION
zmodload zsh/zpty
work=$(mktemp -d)
trap 'zpty -d shell; rm -rf $work' EXIT
mkdir -p $work/home/sub/deep
cd $work/home
touch a.pcap b.GZ c.zst notes.txt sub/inner.{cap,log}

# Ctrl-X writes down what the line has become, and empties it.
if ! zpty shell "TERM=dumb zsh -f -i"; then
  print "skipped: no terminal device to be had"
  trap - EXIT
  rm -rf $work
  exit 77
fi
zpty -w shell "fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D
tell() { print -r -- \"\$BUFFER|\" >$work/new; mv $work/new $work/line; BUFFER= }; zle -N tell
bindkey '^X' tell; bindkey '^I' complete-word; print ready >$work/line"
await_line() { repeat 100; do [[ -e $work/line ]] && return; sleep 0.1; done }

failures=0
for text expected in \
  --ver '--version ' '-squish -' '-squish -r ' '-r s' '-r sub/' '-r sub i' '-r sub inner.cap ' \
  '-squish10 -r sub inner.cap -out ' '-squish10 -r sub inner.cap -out deep/' \
  a 'a.pcap ' b 'b.GZ ' c c n n 'a.pcap -' 'a.pcap -out ' 'a.pcap -out x a' 'a.pcap -out x a' \
  --ex '--exact ' '--exact --con' '--exact --concatenate ' '--exact --quiet --sn' '--exact --quiet --snaplen=' \
  '--exact --format=pcapn' '--exact --format=pcapng ' '--exact --compress=z' '--exact --compress=zstd ' \
  '--exact --files-from=n' '--exact --files-from=notes.txt ' '--exact c' '--exact c.zst ' \
  '--exact -squish -' '--exact -squish -r ' '--exact --quiet -r sub i' '--exact --quiet -r sub inner.cap ' \
  '--exact -- a.pcap -' '--exact -- a.pcap -out '
do
  await_line  # of the row before
  rm -f $work/line
  zpty -w -n shell "seamtool $text"$'\t\x18'
  await_line
  [[ $(cat $work/line) == "seamtool $expected|" ]] && continue
  print "\"$text\": expected \"$expected\" but got \"$(cat $work/line)\""
  (( ++failures ))
done
exit $(( failures != 0 ))
