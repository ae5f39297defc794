# bash completion for wrapper
# shellcheck shell=bash

_wrapper() {
  local word=${COMP_WORDS[COMP_CWORD]} before=
  [ "$COMP_CWORD" -gt 0 ] && before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $before in
    --propFile)
      # Folders as well, so that one can descend into them.
      mapfile -t COMPREPLY < <(compgen -f -X '!*.kvf' -- "$word"; compgen -d -- "$word")
      compopt -o filenames 2>/dev/null
      return
      ;;
    --kill)
      mapfile -t COMPREPLY < <(compgen -W 'Abort Normal' -- "$word")
      return
      ;;
    --propVar | --delayStart) return ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--run --cmdlineJava --generateScript --kill --version --help
      --propFile --propVar --pid --delayStart --debug --silent' -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _wrapper wrapper
