# Prints the completions of zsh at the end of a line. Runs the real completion in a terminal of its own.
# usage: zsh -f offers.zsh COMPLETIONS SCRATCH LINE
zmodload zsh/zpty
folder=$1 scratch=$2 line=$3
rm -f $scratch/offers $scratch/done

cat >$scratch/start.zsh <<END
fpath=($folder \$fpath)
autoload -Uz compinit
compinit -u -d $scratch/dump
PROMPT= 
# zsh passes every candidate to this function before it shows it; calls that only compute are passed on.
compadd() {
  if [[ \${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
    local -a hits
    builtin compadd -O hits "\$@"
    print -rl -- \$hits >>$scratch/offers
  fi
  builtin compadd "\$@"
}
finish() { : >$scratch/done; exit }
comppostfuncs=(finish)
bindkey '^I' complete-word
: >$scratch/ready
END

rm -f $scratch/ready
zpty terminal zsh -f -i
zpty -w terminal "source $scratch/start.zsh"
for ((i = 0; i < 200; ++i)) { [[ -f $scratch/ready ]] && break; sleep 0.05 }
zpty -n -w terminal $line$'\t'
for ((i = 0; i < 200; ++i)) { [[ -f $scratch/done ]] && break; sleep 0.05 }
zpty -d terminal
[[ -f $scratch/done ]] && cat $scratch/offers
