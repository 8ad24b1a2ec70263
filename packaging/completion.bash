# bash completion for servicemux. What it offers, it reads from the program's own help texts.

# The help text of the subcommand that the words before the cursor lead to.
_servicemux_help() {
  local program=${COMP_WORDS[0]/#\~/$HOME} help word
  local -a path=()
  help=$("$program" --help 2>/dev/null) || return
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if _servicemux_subcommands <<<"$help" | grep -qxF -e "$word"; then
      path+=("$word")
      help=$("$program" "${path[@]}" --help 2>/dev/null) || return
    fi
  done
  printf '%s\n' "$help"
}

_servicemux_subcommands() {
  awk '/^Subcommands:/ { inside = 1; next } /^[^ ]/ { inside = 0 } inside && /^  [^ ]/ { print $1 }'
}

_servicemux_options() {
  awk '/^  -/ { count = split($1, names, ","); for (i = 1; i <= count; ++i) print names[i] }'
}

# What an option's value is called, as "--dump DIR" has it; nothing for an option without one.
_servicemux_value() {
  awk -v option="$1" '/^  -/ {
    sub(/^  /, "")
    sub(/   *.*/, "")
    count = split($1, names, ",")
    for (i = 1; i <= count; ++i) if (names[i] == option && $2 != "REQUIRED") print $2
  }'
}

_servicemux() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} help value words
  COMPREPLY=()
  help=$(_servicemux_help)
  value=$(_servicemux_value "$previous" <<<"$help")
  case $value in
    "") ;;
    *{*}*)
      words=${value#*\{}
      mapfile -t COMPREPLY < <(compgen -W "$(tr ',' ' ' <<<"${words%%\}*}")" -- "$current")
      return ;;
    *DIR*) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    *FILE* | *PATH* | *.json) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    *) return ;;
  esac
  words=$(_servicemux_subcommands <<<"$help")
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_servicemux_options <<<"$help")" -- "$current")
  elif [ -n "$words" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -o filenames -F _servicemux servicemux
