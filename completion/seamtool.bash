# shellcheck shell=bash
# Completion of seamtool's arguments in bash; stands on the bash-completion package.

# Completes $cur with paths below a directory: _seamtool_paths DIRECTORY arguments of _filedir.
# Directories below another one than the current get their slash here: the shell would not know them.
_seamtool_paths() {
    local directory=$1 found path
    shift
    mapfile -t found < <(
        cd -- "$directory" 2>/dev/null || exit
        COMPREPLY=()
        _filedir "$@"
        for path in "${COMPREPLY[@]}"; do
            [[ $directory == . || ! -d $path ]] || path+=/
            printf '%s\n' "$path"
        done
    )
    COMPREPLY+=("${found[@]}")
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace 2>/dev/null
    compopt -o filenames 2>/dev/null  # fails only where a script calls this, as the tests do
    return 0
}

_seamtool() {
    local cur prev words cword
    _init_completion || return

    local flags="-squish -squish10 -r --version" first=1 home=.
    if ((cword > 1)); then
        case ${words[1]} in
            --version) return ;;
            -squish | -squish10) first=2 flags=-r ;;
        esac
    fi
    if ((cword > first)) && [[ ${words[first]} == -r ]]; then
        if ((cword == first + 1)); then
            _seamtool_paths . -d
            return
        fi
        # Every other path starts in this directory. It is taken as typed, without the quoting.
        home=${words[first + 1]//[\"\'\\]/}
        [[ $home != \~/* ]] || home=$HOME/${home#??}
        first=$((first + 2)) flags=
    fi

    if ((cword > first)); then
        flags=-out
        [[ ${words[cword - 2]} != -out ]] || return 0
        if [[ $prev == -out ]]; then
            _seamtool_paths "$home" -d  # a file that exists would be refused
            return
        fi
    fi
    mapfile -t COMPREPLY < <(compgen -W "$flags" -- "$cur")
    [[ $cur == -* ]] || _seamtool_paths "$home" 'pcap|pcapng|cap|gz|bz2|bzip2'
}

complete -F _seamtool seamtool
