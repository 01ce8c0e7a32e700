# Bash completion for velmora. Commands, options and categories are asked of the program itself.

# The first words of the indented lines of a help text's section.
_velmora_section() {
  sed -n "/^$1:/,/^[^ ]/s/^  \([a-z-]*\) .*/\1/p"
}

_velmora_options() {
  grep -oE -- '(^|[ ,])--?[a-zA-Z][a-z-]*' | tr -d ' ,'
}

# The last of a list of categories; those before it stay.
_velmora_categories() {
  local before=
  case $1 in *,*) before=${1%,*}, ;; esac
  compgen -P "$before" -W "$("$2" categories | sed -n 's/^[0-9 ]\{6\}\([a-z-]*\) .*/\1/p')" \
    -- "${1##*,}"
}

_velmora() {
  local program=$1 word=$2 before=$3
  local command=${COMP_WORDS[1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" = 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W \
      "--help --version $("$program" --help | _velmora_section Subcommands)" -- "$word")
    return
  fi
  case $before in
    --block | --allow)
      compopt -o nospace 2>/dev/null
      mapfile -t COMPREPLY < <(_velmora_categories "$word" "$program")
      return
      ;;
    --report)
      mapfile -t COMPREPLY < <(compgen -W "text json" -- "$word")
      return
      ;;
    --role)
      mapfile -t COMPREPLY < <(compgen -W "view change" -- "$word")
      return
      ;;
    https)
      mapfile -t COMPREPLY < <(compgen -W "on off" -- "$word")
      return
      ;;
    preset)
      mapfile -t COMPREPLY < <(compgen -W "calm strict classic still --as-policy" -- "$word")
      return
      ;;
    --by)
      mapfile -t COMPREPLY < <(compgen -W "client site category rule hour" -- "$word")
      return
      ;;
    --type)
      mapfile -t COMPREPLY < <(compgen -W "html js vbs gif" -- "$word")
      return
      ;;
  esac
  case $word in
    -*)
      mapfile -t COMPREPLY < <(compgen -W \
        "$("$program" "$command" --help 2>/dev/null | _velmora_options)" -- "$word")
      ;;
    *)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
  esac
}

complete -F _velmora velmora
