# Usage: zsh -f complete.zsh FOLDER LINE: what zsh offers at the end of LINE with the completion
# functions of FOLDER, one candidate a line.
zmodload zsh/zpty
home=$(mktemp -d)

# The shell under test: it notes what would be added to the list of candidates, then leaves.
print -r -- "fpath=(${(q)1} \$fpath) offered=$home/offered" >$home/.zshrc
cat >>$home/.zshrc <<'EOF'
autoload -Uz compinit && compinit -u -D
compadd() {
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
  local -a hits
  builtin compadd -A hits "$@"
  print -rl -- $hits >>$offered
  builtin compadd "$@"
}
offer() { _main_complete; exit }
zle -C offer complete-word offer
bindkey '^I' offer
PS1='<ready>'
TMOUT=10
EOF

: >$home/offered
zpty -b shell "ZDOTDIR=${(q)home} zsh -d -i"
for ((i = 0; i < 100; i++)); do
  zpty -r -t shell seen && [[ $seen == *'<ready>'* ]] && break
  sleep 0.05
done
zpty -w -n shell "$2"$'\t'
for ((i = 0; i < 100; i++)); do
  zpty -t shell 2>/dev/null || break
  zpty -r -t shell seen 2>/dev/null
  sleep 0.05
done
zpty -d shell
grep . $home/offered
found=$?
rm -rf $home
exit $found
