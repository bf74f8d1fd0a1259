# Completion of vkt for bash. Commands, options and what they take are read from the tool's own --help, which is asked
# each time: it cannot tell of another version than the one that is typed.

# _vkt_section HELP TITLE: the first words of the lines below a title.
_vkt_section() {
    local line inside=''
    while IFS= read -r line; do
        case $line in
            "$2:") inside=yes ;;
            "") inside='' ;;
            "  "[!\ ]*) [[ -z $inside ]] || { line=${line#  } && printf '%s\n' "${line%% *}"; } ;;
        esac
    done <<<"$1"
}

# _vkt_value HELP OPTION: what the option takes, as the help names it (FILE, {a,b}); nothing for a flag.
_vkt_value() {
    local line pattern='^  (-h, )?(--[a-z-]+) ([^ ]+)'
    while IFS= read -r line; do
        if [[ $line =~ $pattern && ${BASH_REMATCH[2]} == "$2" ]]; then
            printf '%s\n' "${BASH_REMATCH[3]}"
            return
        fi
    done <<<"$1"
}

# _vkt_complete KIND WORD: the values of that kind that the word may become.
_vkt_complete() {
    local files=''
    case $1 in
        FILE | SOURCE) files=-f ;;
        FOLDER) files=-d ;;
        '{'*'}') mapfile -t COMPREPLY < <(IFS=,; compgen -W "${1//[\{\}]/}" -- "$2") ;;
    esac
    [[ -n $files ]] || return 0
    mapfile -t COMPREPLY < <(compgen "$files" -- "$2")
    compopt -o filenames 2>/dev/null || true  # only where the shell itself asks
}

_vkt() {
    local tool=${COMP_WORDS[0]} word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' help value options
    COMPREPLY=()
    # Bash makes three words of --level=info.
    if [[ $word == "=" ]]; then
        word=''
    elif [[ $before == "=" ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    if ((COMP_CWORD > 1)); then command=${COMP_WORDS[1]}; fi
    [[ $command != -* ]] || return 0

    help=$("$tool" ${command:+"$command"} --help 2>/dev/null) || return 0
    value=$(_vkt_value "$help" "$before")
    if [[ -n $value ]]; then
        _vkt_complete "$value" "$word"
    elif [[ $word == -* ]]; then
        options=$(_vkt_section "$help" Options)
        mapfile -t COMPREPLY < <(compgen -W "${options/-h,/--help}" -- "$word")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_vkt_section "$help" Commands)" -- "$word")
    else
        _vkt_complete "$(_vkt_section "$help" Arguments)" "$word"
    fi
}

complete -F _vkt vkt
