# Completion of the command tallyfin for bash. What fits is asked of the command itself.

_tallyfin() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[0]/#\~\//$HOME/} offer
  COMPREPLY=()
  while IFS= read -r offer; do
    case $offer in
      $'\tfiles')
        compopt -o filenames 2>/dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word") ;;
      $'\tfolders')
        compopt -o filenames 2>/dev/null
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$word") ;;
      *) printf -v 'COMPREPLY[${#COMPREPLY[@]}]' '%q' "${offer%%$'\t'*}" ;;
    esac
  done < <("$command" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}

complete -F _tallyfin tallyfin
