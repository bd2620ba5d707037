#!/usr/bin/env bash
# Checks that the shells offer the same completions as the command, quoted if necessary.
# usage: CompletionTests.sh TALLYFIN
set -euo pipefail
tallyfin=$1
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
failures=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Creates a home with two projects: one has a blank in its name, the name of the other does not start like a
# path.
export HOME=$scratch TALLYFIN_HOME= TALLYFIN_CACHE_PATH= PATH=$(dirname "$tallyfin"):$PATH
mkdir -p "$scratch/.claude/projects/p" "$scratch/folder"
for cwd in "/nowhere/two words" :files; do
  printf '{"timestamp":"2026-05-04T10:00:00Z","requestId":"%s","sessionId":"s","cwd":"%s","message":{"id":"a","model":"claude-opus-5","usage":{"output_tokens":7}}}\n' "$cwd" "$cwd"
done >"$scratch/.claude/projects/p/one.jsonl"
"$tallyfin" status >/dev/null
cd "$scratch"

sorted() { sed '/^$/d' | sort -u | tr '\n' ' '; }

# Prints the completions of bash for a line that ends in the word to complete.
in_bash() {
  bash --norc -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tallyfin
    printf "%s\n" "${COMPREPLY[@]}"' - "$root/completions/tallyfin.bash" "$@"
}
in_zsh() { zsh -f "$here/offers.zsh" "$root/completions" "$scratch" "$*"; }
in_command() { shift; "$tallyfin" __complete "$@" | cut -f 1; }

shells=(in_bash)
if command -v zsh >/dev/null; then
  shells+=(in_zsh)
else
  echo "zsh is not here: its completion is not checked"
fi

expect() {  # shell, what should be offered, the line
  local found
  found=$("$1" "${@:3}" | sorted)
  [ "$2" = "$found" ] && return
  printf '%s: %s\n  should be: %s\n  is:        %s\n' "$1" "${*:3}" "$2" "$found" >&2
  failures=$((failures + 1))
}

for shell in "${shells[@]}"; do
  for line in "tallyfin |" "tallyfin export |" "tallyfin cost --|" "tallyfin export csv --axis s|" "tallyfin budget 20 last|"; do
    read -ra words <<<"${line%|}"
    case $line in *" |") words+=('') ;; esac
    expect "$shell" "$(in_command "${words[@]}" | sorted)" "${words[@]}"
  done
  expect "$shell" "folder " tallyfin --home fo
  expect "$shell" ":files " tallyfin cost --project :
done
expect in_bash '/nowhere/two\ words ' tallyfin cost --project /no
expect in_bash '/nowhere/two\ words ' tallyfin cost --project tw

echo "completion of ${#shells[@]} shells: $failures faults"
[ "$failures" -eq 0 ]
