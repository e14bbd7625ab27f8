# Completion of orla for bash: subcommands, options and file names. Source this file, or install it
# as "orla" in bash-completion's directory of completions. It needs only bash.

# _orla_words: sets words to the words of the command line up to the cursor. Bash also splits words at
# ":" and "=", which URLs contain, so this joins the pieces that no space separates.
_orla_words() {
  local rest=${COMP_LINE:0:COMP_POINT} i piece
  words=()
  for ((i = 0; i <= COMP_CWORD; i++)); do
    piece=${COMP_WORDS[i]}
    if ((i == 0)) || [[ $rest == [[:blank:]]* ]]; then
      words+=("")
      rest=${rest#"${rest%%[![:blank:]]*}"}
    fi
    # The last word may continue after the cursor.
    [[ $rest == "$piece"* ]] || piece=$rest
    words[-1]+=$piece
    rest=${rest#"$piece"}
  done
}

_orla() {
  local words word command="" options option="" positionals=0 file_position=0 i
  _orla_words
  local current=${words[-1]}
  local common="--help --json --silent --repeat --parallel"
  COMPREPLY=()

  # Find the subcommand, the option that still needs its value, and the number of positional arguments.
  for ((i = 1; i < ${#words[@]} - 1; i++)); do
    word=${words[i]}
    case $word in
      --identity | --type | --name | --counter | --size | --repeat | --parallel) option=$word ;;
      -*) option="" ;;
      *)
        if [[ -n $option ]]; then
          # --identity takes every word up to the next option.
          [[ $option == --identity ]] || option=""
        elif [[ -z $command ]]; then
          command=$word
        else
          ((++positionals))
        fi
        ;;
    esac
  done

  case $command in
    "") options="--help --version" ;;
    version) options=$common ;;
    name) options="--type --identity $common" ;;
    send) options="--type --identity --name $common" file_position=2 ;;
    get) options="--counter --size $common" file_position=3 ;;
    *) return ;;
  esac

  if [[ -n $option && ! ($option == --identity && $current == -*) ]]; then
    return # Only the user knows the value.
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "version name send get" -- "$current")
  elif ((positionals + 1 == file_position)); then
    # Complete a file name as bash does.
    compopt -o default 2>/dev/null
  fi
}

complete -F _orla orla
