# Completion of halvexctl for bash: verbs, options, and what some verbs take.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
_halvexctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
  local verbs="info version name seeded init get step freq limits drift wait apply-metadata expect-error clear explain
    map doctor monitor record report remark finalize run help"
  local options="--library --json --echo --yes --help --version"
  local -A own_options=([monitor]="--once --count --interval --metrics" [record]="--interval"
    [report]="--from --trace --title")
  COMPREPLY=()
  case $previous in
    --library | -l | apply-metadata | record | report | --metrics | --from | --trace)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    step | drift | wait | remark | --interval | --count | --title) return ;;
    help)
      mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word")
      return
      ;;
    explain)
      mapfile -t COMPREPLY < <(compgen -W "all -52000 -52002 -52003 -52004 -52005 -52006 -52007 -52008 -52010 -52011 -52012 -52013 -52014 -52015 -52019 -52020 -52023 -52024 -52025 -52026 -52031" -- "$word")
      return
      ;;
  esac
  # The verb whose own options may follow: the last one before, with what belongs to it in between.
  local index of_verb=
  for ((index = 1; index < COMP_CWORD; ++index)); do
    [[ ${COMP_WORDS[index-1]} != --@(from|trace|metrics|title) ]] || continue
    case ${COMP_WORDS[index]} in
      monitor | record | report) of_verb=${COMP_WORDS[index]} ;;
      --*) ;;
      *) [[ ${COMP_WORDS[index-1]} == @(--count|--interval|record|report) ||
        $of_verb == record && ${COMP_WORDS[index]} == [0-9]* ]] || of_verb= ;;
    esac
  done
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options ${of_verb:+${own_options[$of_verb]}}" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$word")
  fi
}
complete -F _halvexctl halvexctl
