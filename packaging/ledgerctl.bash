# bash completion for ledgerctl: commands, options, and the names of tables and columns, which are asked from
# the running daemon. Without a daemon it offers no names and says nothing.

# Prints what ledgerctl answers, asked at the socket that the line names.
_ledgerctl_ask() {
    ledgerctl ${_ledgerctl_socket:+-s "$_ledgerctl_socket"} -t 1 "$@" 2>/dev/null
}

# Offers the lines of standard input that begin with the word to be completed, without regard to letter case when
# there is none. The names come from the daemon's tables, so they are never expanded, only quoted; $1 is put
# behind each.
_ledgerctl_offer() {
    local name
    local -a otherwise=()
    while IFS= read -r name; do
        if [[ -n $name && $name == "$cur"* ]]; then
            COMPREPLY+=("$(printf '%q' "$name")${1-}")
        elif [[ -n $name && ${name,,} == "${cur,,}"* ]]; then
            otherwise+=("$(printf '%q' "$name")${1-}")
        fi
    done
    if ((${#COMPREPLY[@]} == 0)); then
        COMPREPLY=("${otherwise[@]}")
    fi
}

_ledgerctl_columns() {
    # Names with a comma, a quote or a blank come quoted in CSV; they are left out.
    _ledgerctl_ask --csv schema "$1" | sed -e 1d -e '/^"/d' -e 's/,.*//'
}

_ledgerctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' first='' word option='' _ledgerctl_socket=''
    local -i i
    COMPREPLY=()

    # "=" is a word of its own, and the one behind it is a value.
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -n $option ]]; then
            if [[ $option == -s || $option == --socket ]]; then
                _ledgerctl_socket=$word
            fi
            option=''
            continue
        fi
        case $word in
            -s | --socket | -t | --timeout | --row | --key | --wait | -f | --fifo | -o | --output | -x | --dump-path) option=$word ;;
            = | -*) ;;
            *)
                if [[ ${COMP_WORDS[i - 1]} == = ]]; then
                    continue
                elif [[ -z $command ]]; then
                    command=$word
                elif [[ -z $first ]]; then
                    first=$word
                fi
                ;;
        esac
    done
    if [[ $cur == = || $previous == = ]]; then
        return
    fi

    case $previous in
        -s | --socket | -f | --fifo | -o | --output | -x | --dump-path)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
        -t | --timeout | --row | --wait) return ;;
        --key)
            compopt -o nospace
            _ledgerctl_offer '=' < <(_ledgerctl_columns "$first")
            return
            ;;
    esac

    local words=''
    if [[ $cur == -* ]]; then
        words='-s --socket -t --timeout --json --csv -h --help'
        case $command in
            '') words+=' --version' ;;
            tables) words+=' -l --long' ;;
            get) words+=' --row --key --all-matching -v --value' ;;
            set) words+=' --row --key --all-matching' ;;
            del) words+=' --row --key --all-matching --all' ;;
            watch) words+=' --rows --column --initial --reconnect' ;;
            batch | import) words+=' --wait' ;;
            ctl)
                words+=' -f --fifo'
                if [[ $first == dump ]]; then
                    words+=' -a --all -p --persistent --transient'
                fi
                ;;
            export) words+=' -o --output' ;;
            backup) words+=' -f --fifo -x --dump-path' ;;
        esac
    elif [[ -z $command || ($command == help && -z $first) ]]; then
        words=' help version tables schema count get set add del watch batch export import info ctl backup restore-check'
    elif [[ $command == del && -n $first ]]; then
        words='--row --key --all-matching --all'
    elif [[ $command == ctl ]]; then
        case $first in
            '') words='trigger lock unlock dump waittime persistmode' ;;
            dump) words='-a -p -t' ;;
            persistmode) words='default redundant nosqldump' ;;
        esac
    fi
    if [[ -n $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
        return
    fi

    case $command in
        watch | export) _ledgerctl_offer < <(_ledgerctl_ask tables) ;;
        schema | count | get | set | add | del)
            if [[ -z $first ]]; then
                _ledgerctl_offer < <(_ledgerctl_ask tables)
            elif [[ $command == get ]]; then
                _ledgerctl_offer < <(_ledgerctl_columns "$first")
            elif [[ $command == set || $command == add ]]; then
                compopt -o nospace
                _ledgerctl_offer '=' < <(_ledgerctl_columns "$first")
            fi
            ;;
        batch | import | backup)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            ;;
        restore-check)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -d -- "$cur")
            ;;
    esac
}

complete -F _ledgerctl ledgerctl
