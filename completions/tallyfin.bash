# Completion of the command tallyfin for bash.

_tallyfin() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local range='--preset --from --to --label' axes='project rawCwd session agent model day hour source'
  COMPREPLY=()

  case $previous in
    --axis) mapfile -t COMPREPLY < <(compgen -W "$axes" -- "$current"); return ;;
    --axes)  # names with commas between
      local before=''
      [[ $current != *,* ]] || before=${current%,*},
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "$axes" -- "${current##*,}")
      compopt -o nospace 2>/dev/null
      return ;;
    --preset)
      mapfile -t COMPREPLY < <(compgen -W 'thisMonth lastMonth last7Days last30Days yearToDate' -- "$current")
      return ;;
    --home | --out)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return ;;
    --cache | --check)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    --limit | --rows | --from | --to | --label) return ;;
  esac

  # The command is the first word that is neither an option of all commands nor the value of one.
  local command='' i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      --home | --cache) ((i++)) ;;
      -*) ;;
      *) command=${COMP_WORDS[i]}; break ;;
    esac
  done
  local words='--help --home --cache'
  case $command in
    '') words+=' --version csv provenance summary prices verify scan' ;;
    csv) words+=" --axis --all --out --limit --bom $range" ;;
    provenance) words+=" --bom --out $range" ;;
    summary) words+=" --axes --rows $range" ;;
    prices) words+=' --check' ;;
    scan) words+=' --serial' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _tallyfin tallyfin
