# Completion of corvane-defaults(1) for bash: commands, domains, keys, types.

_corvane_defaults_offer() {  # reads candidates, one a line, and offers those that begin with the current word
  local line
  COMPREPLY=()
  while IFS= read -r line; do
    [[ $line == "$1"* ]] && COMPREPLY+=("$(printf '%q' "$line")")
  done
}

_corvane_defaults() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]:-} program=${COMP_WORDS[0]}
  local commands='read write delete rename domains keys find export import -h --help --version'
  word=${word//\\/}
  if ((COMP_CWORD == 1)); then
    _corvane_defaults_offer "$word" < <(printf '%s\n' $commands)
    return
  fi
  local first=2 # where the domain stands
  if [[ $command == export && ${COMP_WORDS[2]:-} == --binary ]]; then first=3; fi
  case $command in
    read | write | delete | rename | keys | export | import) ;;
    *) return ;;
  esac
  if ((COMP_CWORD == first)); then
    _corvane_defaults_offer "$word" < <("$program" domains 2>/dev/null; printf '%s\n' -g; [[ $command != export ]] || echo --binary)
  elif [[ $command == export || $command == import ]]; then
    ((COMP_CWORD == first + 1)) && compopt -o default
  elif ((COMP_CWORD == 3)) && [[ $command != keys ]]; then
    _corvane_defaults_offer "$word" < <("$program" keys "${COMP_WORDS[2]//\\/}" 2>/dev/null)
  elif [[ $command == write && $word == -* ]]; then
    _corvane_defaults_offer "$word" < <(printf '%s\n' -string -int -float -bool -date -data -array -dict -plist)
  fi
}

complete -F _corvane_defaults corvane-defaults
