# SPDX-License-Identifier: MIT
# Bash completion for tarni-sim(1).

_tarni_sim() {
  local word=${COMP_WORDS[COMP_CWORD]} i
  COMPREPLY=()

  for ((i = 1; i < COMP_CWORD; i++)); do
    [ "${COMP_WORDS[i]}" = -- ] || continue
    # The program completes its own arguments.
    if declare -F _command_offset >/dev/null; then
      _command_offset $((i + 1))
    elif ((COMP_CWORD == i + 1)); then
      mapfile -t COMPREPLY < <(compgen -c -- "$word")
    fi
    return
  done

  case ${COMP_WORDS[COMP_CWORD - 1]} in
    --machine | --script | --log) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *) mapfile -t COMPREPLY < <(compgen -W '--machine --script --log --help --version --' -- "$word") ;;
  esac
}

complete -F _tarni_sim tarni-sim
