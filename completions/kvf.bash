# bash completion for kvf
# shellcheck shell=bash

# Words of the command line after "--", completed as those of the launcher.
_kvf_command_line() {
  local dashes=$1
  COMP_WORDS=("${COMP_WORDS[@]:dashes + 1}")
  COMP_CWORD=$((COMP_CWORD - dashes - 1))
  if [ "$COMP_CWORD" -eq 0 ]; then
    mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[0]}")
    return
  fi
  declare -F _wrapper >/dev/null || _completion_loader wrapper 2>/dev/null
  declare -F _wrapper >/dev/null && _wrapper
}

_kvf_files() {
  # Folders as well, so that one can descend into them.
  mapfile -t COMPREPLY < <(compgen -d -- "$word"; for suffix; do compgen -f -X "!*.$suffix" -- "$word"; done)
  compopt -o filenames 2>/dev/null
}

_kvf() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]} i
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    local commands='check explain jvm import new cds trace ready rules lsp'
    [[ $word == -* ]] && commands='--help --version'
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
    return
  fi
  for ((i = 2; i < COMP_CWORD; i++)); do
    [ "${COMP_WORDS[i]}" = -- ] || continue
    [ "$command" = check ] && _kvf_command_line "$i"
    return
  done
  case $before in
    --disable) mapfile -t COMPREPLY < <(compgen -W "$(kvf rules 2>/dev/null | awk '{print $1}')" -- "$word"); return ;;
    --format) mapfile -t COMPREPLY < <(compgen -W 'text gcc json sarif github gitlab checkstyle' -- "$word"); return ;;
    --java) [ "$command" = check ] || return; mapfile -t COMPREPLY < <(compgen -W "$(seq 8 26)" -- "$word"); return ;;
    --key) mapfile -t COMPREPLY < <(compgen -W "$(kvf keys 2>/dev/null)" -- "$word"); return ;;
    --severity) mapfile -t COMPREPLY < <(compgen -W 'error warning' -- "$word"); return ;;
    --color) mapfile -t COMPREPLY < <(compgen -W 'auto always never' -- "$word"); return ;;
    --jar) [[ $command == cds ]] || { _kvf_files jar; return; } ;;
    --html) mapfile -t COMPREPLY < <(compgen -f -- "$word"); compopt -o filenames 2>/dev/null; return ;;
    --json) [ "$command" != trace ] || { mapfile -t COMPREPLY < <(compgen -f -- "$word"); compopt -o filenames 2>/dev/null; return; } ;;
    --kind) mapfile -t COMPREPLY < <(compgen -W 'auto aot static dynamic' -- "$word"); return ;;
    --unit) _kvf_files service; return ;;
    --pid) mapfile -t COMPREPLY < <(compgen -W "$(ps -e -o pid= 2>/dev/null)" -- "$word"); return ;;
    --lib | --jre | --root) mapfile -t COMPREPLY < <(compgen -d -- "$word"); compopt -o filenames 2>/dev/null; return ;;
    --wrapper | --secrets | --stdin-name | --unix) mapfile -t COMPREPLY < <(compgen -f -- "$word"); compopt -o filenames 2>/dev/null; return ;;
    --name | --main | --run-for | --until | --pairs | --memory | --tcp | --timeout) return ;;
  esac
  if [[ $command == @(import|jvm) && $before == --write ]]; then _kvf_files kvf; return; fi
  local options=
  case $command in
    check) options='--severity --stdin-name --memory --color --format --root --fix --diff --java --json --jvm --deep --script --disable' ;;
    explain) options='--json --key --show-secrets' ;;
    jvm) options='--json --line --write' ;;
    rules) options=--json ;;
    import) options='--pid --unit --write --secrets' ;;
    new) options='--jar --lib --name --main --java --jre --pid --unit --wrapper --force' ;;
    cds) options='--kind --until --run-for --pairs --short --jar --write --json --refresh --deep --wrapper' ;;
    trace) options='--html --json --until --run-for --pairs --wrapper' ;;
    lsp) options='--stdio' ;;
    ready) options='--pid --tcp --unix --timeout' ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options --help" -- "$word")
    return
  fi
  case $command in
    check) _kvf_files kvf service ;;
    explain | cds | trace) _kvf_files kvf ;;
    new) mapfile -t COMPREPLY < <(compgen -d -- "$word"); compopt -o filenames 2>/dev/null ;;
    rules) mapfile -t COMPREPLY < <(compgen -W "$(kvf rules 2>/dev/null | awk '{print $1}')" -- "$word") ;;
  esac
}
complete -F _kvf kvf
