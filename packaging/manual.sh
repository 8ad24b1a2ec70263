#!/usr/bin/env bash
# Writes the manual page of a program, made of its own help texts and those of its subcommands: manual.sh PROGRAM...
# PROGRAM may be several words, an emulator and what it runs.
set -euo pipefail
program=("$@")
name=$(basename "${program[-1]}")
version=$("${program[@]}" --version)

# Text on its way through roff: a backslash and a hyphen are to come out as they are.
escaped() { sed 's/\\/\\e/g;s/-/\\-/g'; }

help_of() { COLUMNS=80 "${program[@]}" "$@" --help; }

# The first words below "Subcommands:".
subcommands_in() { awk '/^Subcommands:/ { inside = 1; next } /^[^ ]/ { inside = 0 } inside && /^  [^ ]/ { print $1 }'; }

purpose_in() { sed '/^Usage:/,$d'; }
usage_in() { sed -n 's/^Usage: //p'; }

# What follows the usage in a help text, in the man macros; the subcommands only if $1 says so.
body() {
  escaped | awk -v subcommands="$1" '
    function roff(text) { return (text ~ /^[.\x27]/ ? "\\&" : "") text }
    /^Usage:/ { begun = 1; next }
    !begun { next }
    /^Subcommands:/ && !subcommands { skipping = 1; next }
    /^[^ ].*:$/ { skipping = 0; print ".PP\n.B " roff($0); next }
    /^[^ ]/ { skipping = 0; if (!paragraph) print ".PP"; print roff($0); paragraph = 1; next }
    skipping || /^ *$/ { paragraph = 0; next }
    /^  [^ ]/ {
      entry = substr($0, 3); text = ""
      if (match(entry, /   */)) { text = substr(entry, RSTART + RLENGTH); entry = substr(entry, 1, RSTART - 1) }
      print ".TP\n.B " roff(entry)
      if (text != "") print roff(text)
      next
    }
    { sub(/^ */, ""); print roff($0) }'
}

# What stands for one subcommand, and for those below it.
subcommand() {
  local text
  text=$(help_of "$@")
  printf '.SS "%s"\n' "$name $*"
  purpose_in <<<"$text" | escaped
  printf '.PP\n.B %s\n' "$(usage_in <<<"$text" | escaped)"
  body "" <<<"$text"
  local below
  for below in $(subcommands_in <<<"$text"); do subcommand "$@" "$below"; done
}

top=$(help_of)
purpose=$(purpose_in <<<"$top" | escaped)
purpose=${purpose%.}
printf '.TH %s 1 "" "%s" "User Commands"\n' "${name^^}" "$version"
printf '.nh\n'  # names come out whole, to be copied
printf '.SH NAME\n%s \\- %s\n' "$name" "${purpose,}"
printf '.SH SYNOPSIS\n.B %s\n' "$(usage_in <<<"$top" | escaped)"
printf '.SH DESCRIPTION\n'
body all <<<"$top"
subcommands=$(subcommands_in <<<"$top")
[ -z "$subcommands" ] || printf '.SH SUBCOMMANDS\n'
for below in $subcommands; do subcommand "$below"; done
