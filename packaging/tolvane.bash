# bash completion for tolvane and isamck
_tolvane() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  case $before in
    -G | -C | -F) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
  esac
  case $word in
    -fi* | -fo*)
      mapfile -t COMPREPLY < <(compgen -f -P "${word:0:3}" -- "${word:3}") ;;
    -R:*) mapfile -t COMPREPLY < <(compgen -f -P "-R:" -- "${word:3}") ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "-G -a -b -c -d -e -fi -fo -g -h -i -j -k1: -m -o -p -q -r
        -Q -s -t -u -v -x -y -z -B -C -D -E -F -I -MF -MBP -O -P -R: -RS: -U -W -X -Y -1 -8" -- "$word") ;;
  esac
  [[ ${#COMPREPLY[@]} -gt 0 ]] && compopt -o nospace -o filenames
}
complete -F _tolvane tolvane
complete -W "--rebuild --json --help" -o default isamck
