# Completion of halvexctl for bash: verbs, options, and what some verbs take.
_halvexctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  local verbs="info version name seeded init get step freq limits drift wait apply-metadata expect-error clear explain
    map doctor monitor record remark finalize run help"
  local options="--library --json --echo --yes --help --version"
  local monitor_options="--once --count --interval --metrics"
  COMPREPLY=()
  case $previous in
    --library | -l | apply-metadata | record | --metrics)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    step | drift | wait | remark | --interval | --count) return ;;
    help)
      mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word")
      return
      ;;
    explain)
      mapfile -t COMPREPLY < <(compgen -W "all -52000 -52002 -52003 -52004 -52005 -52006 -52007 -52008 -52010 -52011 -52012 -52013 -52014 -52015 -52019 -52020 -52023 -52024 -52025 -52026 -52031" -- "$word")
      return
      ;;
  esac
  local index in_monitor=
  for ((index = 1; index < COMP_CWORD; ++index)); do
    case ${COMP_WORDS[index]} in
      monitor) in_monitor=yes ;;
      --*) ;;
      *) [[ ${COMP_WORDS[index-1]} == --@(count|interval|metrics) ]] || in_monitor= ;;
    esac
  done
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options ${in_monitor:+$monitor_options}" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word")
  fi
}
complete -F _halvexctl halvexctl
