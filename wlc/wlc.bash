# Completion of wlc for bash. Options and commands come from wlc's own help.
_wlc() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local subcommand=${COMP_WORDS[1]} words=''
  COMPREPLY=()
  case $before in
    --script | --config | --library | --trace | --settings)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    --ctrl-dir)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    --interface) words=$(cd /sys/class/net && echo ./*) words=${words//.\//} ;;
    --log-level) words='error warn info debug' ;;
    --fault | --service-class | --self-ip | --peer-ip) return ;;
    *)
      if ((COMP_CWORD == 1)); then
        words='run driver explain replay --help --version'
      elif [[ $subcommand == @(explain|replay) && $word != -* ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
      else
        words=$("${COMP_WORDS[0]}" "$subcommand" --help 2>/dev/null | sed -nE '
          s/^  (-h,)?(--[a-z-]+).*/\2/p
          /^Commands:/,/^Exit/s/^  ([a-z-]+).*/\1/p')
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _wlc wlc
