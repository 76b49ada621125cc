# SPDX-License-Identifier: MIT
# Bash completion for tarni(1).

_tarni_devices() {
  tarni list 2>/dev/null | while read -r name _; do
    [ "$name" != PORT ] && printf '%s\n' "$name"
  done
}

_tarni() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' words='list show watch current dump --help --version --log' i
  COMPREPLY=()

  case $previous in
    --log)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    --count | --timeout) return ;;
  esac

  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      list | show | watch | current | dump)
        command=${COMP_WORDS[i]}
        break
        ;;
      --log) i=$((i + 1)) ;;
    esac
  done

  case $command in
    list) words='--tree --json --log --help' ;;
    show) words='--json --log --help' ;;
    watch) words='--json --count --timeout --log --help' ;;
    current) words='--json --log --help' ;;
    dump) words='--log --help' ;;
  esac
  if [ "$command" = show ] && [[ $word != -* ]]; then
    words=$(_tarni_devices)
    # shellcheck disable=SC2086  # one name to a word
    [[ $word == /* ]] && words=$(printf '/sys/bus/usb/devices/%s\n' $words)
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _tarni tarni
