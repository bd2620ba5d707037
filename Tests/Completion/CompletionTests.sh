#!/usr/bin/env bash
# Completion and manual offer what the command takes, no more and no less.
# usage: CompletionTests.sh TALLYFIN      (the command; its help is what all else is held against)
set -euo pipefail
tallyfin=$1
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
failures=0

sorted() { tr -s ' ,' '\n' | sed '/^$/d' | sort -u | tr '\n' ' '; }

expect_equal() {  # what, expected, found
  [ "$2" = "$3" ] && return
  printf '%s\n  should be: %s\n  is:        %s\n' "$1" "$2" "$3" >&2
  failures=$((failures + 1))
}

# The long options that a command's help begins lines with; every command takes those of all commands.
options_of() { { "$tallyfin" "$@" --help; echo '  --home'; echo '  --cache'; } |
  sed -n 's/^  \(-[a-z],\)\{0,1\}\(--[a-z]*\).*/\2/p'; }
# The values in braces behind an option of a command.
values_of() { "$tallyfin" "$1" --help | sed -n "s/^  $2 [A-Z]*:{\([^}]*\)}.*/\1/p"; }
commands() { "$tallyfin" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p'; }

# What bash offers for a line that ends in the word to complete.
in_bash() {
  bash --norc -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tallyfin
    printf "%s\n" "${COMPREPLY[@]}"' - "$root/completions/tallyfin.bash" "$@"
}
in_zsh() { zsh -f "$here/offers.zsh" "$root/completions" "$scratch" "$*"; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
shells=(in_bash)
if command -v zsh >/dev/null; then
  shells+=(in_zsh)
else
  echo "zsh is not here: its completion is not checked"
fi

for offers in "${shells[@]}"; do
  expect_equal "$offers: commands" "$(commands | sorted)" "$("$offers" tallyfin '' | sed '/^-/d' | sorted)"
  expect_equal "$offers: options of all" "$(options_of | sorted)" "$("$offers" tallyfin -- | sorted)"
  for command in $(commands); do
    expect_equal "$offers: $command" "$(options_of "$command" | sorted)" "$("$offers" tallyfin "$command" -- | sorted)"
  done
  expect_equal "$offers: behind an option of all" "$(options_of scan | sorted)" \
    "$("$offers" tallyfin --home /tmp scan -- | sorted)"
  for command in csv summary provenance; do
    expect_equal "$offers: $command --preset" "$(values_of "$command" --preset | sorted)" \
      "$("$offers" tallyfin "$command" --preset '' | sorted)"
  done
  expect_equal "$offers: csv --axis" "$(values_of csv --axis | sorted)" "$("$offers" tallyfin csv --axis '' | sorted)"
  expect_equal "$offers: csv --axis s" "session source " "$("$offers" tallyfin csv --axis s | sorted)"
  expect_equal "$offers: summary --axes" "$(values_of summary --axes | sorted)" \
    "$("$offers" tallyfin summary --axes '' | sorted)"
done
expect_equal "in_bash: a second axis" "day,model " "$(in_bash tallyfin summary --axes day,mo | tr '\n' ' ')"

page=$root/docs/man/tallyfin.1
expect_equal "manual: options" "$({ options_of; for command in $(commands); do options_of "$command"; done; } | sorted)" \
  "$(grep -oE '(Fl -[a-z]+|Fl -help \| -version)' "$page" | sed 's/ | -/\n--/; s/Fl -/--/g' | sorted)"
for word in $(commands) $({ values_of csv --axis; values_of csv --preset; } | tr , ' '); do
  grep -qw "$word" "$page" || expect_equal "manual" "$word" "nothing"
done

echo "completion of ${#shells[@]} shells, manual: $failures faults"
[ "$failures" -eq 0 ]
