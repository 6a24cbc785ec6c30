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
    COMPREPLY+=("${found[@]#"${cur%"${cur##*=}"}"}")  # "=" divides words for the shell
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace 2>/dev/null
    compopt -o filenames 2>/dev/null  # fails only where a script calls this, as the tests do
    return 0
}

# Offers words; one that wants a value behind it gets no blank.
_seamtool_words() {
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$1" -- "$cur")
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *= ]] || compopt -o nospace 2>/dev/null
}

# The value of an option of the exact mode, when the cursor is in one.
_seamtool_value() {
    case $1 in
        --format) _seamtool_words 'pcap pcap-ns pcapng' ;;
        --compress) _seamtool_words 'gzip zstd none' ;;
        --files-from) _seamtool_paths . ;;
        --report) _seamtool_paths . -d ;;  # a file that exists would be refused
    esac
}

_seamtool() {
    local cur prev words cword
    _init_completion -n = || return

    local modes="-squish -squish10 -r" flags first=1 home=. captures='pcap|pcapng|cap|gz|bz2|bzip2'
    flags="$modes --exact --version"
    if [[ ${words[1]} == --exact ]] && ((cword > 1)); then
        captures='pcap|pcapng|cap|gz|bz2|bzip2|xz|zst|lz4'
        first=2
        while ((first < cword)) && [[ ${words[first]} == --?* ]]; do
            [[ ${words[first]} != --help && ${words[first]} != --version ]] || return 0
            first=$((first + 1))
        done
        if ((first == cword)) && [[ $cur == --*=* ]]; then
            local option=${cur%%=*}
            cur=${cur#*=}
            _seamtool_value "$option"
            return 0
        fi
        flags="$modes --from= --to= --snaplen= --dedup --dedup= --concatenate --files-from= --format= --compress="
        flags+=" --report= --progress --quiet --help --version"
    fi
    if ((cword > first)); then
        case ${words[first]} in
            --version) return ;;
            -squish | -squish10) first=$((first + 1)) flags=-r ;;
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
    _seamtool_words "$flags"
    [[ $cur == -* ]] || _seamtool_paths "$home" "$captures"
}

complete -F _seamtool seamtool
