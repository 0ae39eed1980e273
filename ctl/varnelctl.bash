# SPDX-License-Identifier: MIT
# Completion of varnelctl's command line, for bash: commands, options and the keys that the daemon has.
# bash breaks words at ':', so that a key is several words to it; here they are put together again, and what is offered
# is cut down to what bash replaces. Names are other people's: whatever is in them, what is offered is that text to the
# shell, and nothing that it runs or expands.

# Reads the line up to the cursor as the shell would, but expands nothing: the words before the current one into words,
# the current one into current, what of that bash does not replace into kept, and the quote that is open into quote.
_varnelctl_read_line() {
    local line=${COMP_LINE:0:COMP_POINT} char earlier='' begun='' i
    words=() current='' kept='' quote=''
    for ((i = 0; i < ${#line}; i++)); do
        char=${line:i:1}
        if [[ -z $quote && $char == [[:blank:]] ]]; then
            [ -n "$begun" ] && words+=("$current")
            current='' kept='' begun=''
            continue
        fi
        begun=1
        if [[ $char == "$quote" ]]; then
            quote='' kept=$earlier
            [[ $COMP_WORDBREAKS == *"$char"* ]] && kept=$current
        elif [[ -z $quote && $char == [\'\"] ]]; then
            quote=$char earlier=$kept kept=$current
        elif [[ $char == \\ ]] && _varnelctl_escapes "${line:i+1:1}"; then
            ((++i))
            current+=${line:i:1}
        else
            current+=$char
            [[ -z $quote && $COMP_WORDBREAKS == *"$char"* ]] && kept=$current
        fi
    done
}

# Whether a backslash before this character goes with it; the one that ends the line stands for nothing yet.
_varnelctl_escapes() {
    [ -z "$quote" ] || [[ $quote == '"' && $1 == [\"\\\$\`] ]]
}

# The options that lead to the daemon and stand on the line already, for asking it: in the array connection.
_varnelctl_connection() {
    local i
    connection=()
    for ((i = 1; i < ${#words[@]}; i++)); do
        case ${words[i]} in
        --socket | --udp)
            [ $((i + 1)) -lt ${#words[@]} ] && connection+=("${words[i]}" "${words[i + 1]}")
            ;;
        --socket=* | --udp=*) connection+=("${words[i]}") ;;
        esac
    done
}

# The command on the line: in command; and how many arguments stand behind it: in arguments.
_varnelctl_command() {
    local i
    command='' arguments=0
    for ((i = 1; i < ${#words[@]}; i++)); do
        case ${words[i]} in
        --socket | --udp | --timeout | --type | --durability | --from | --count | --wait) i=$((i + 1)) ;;
        --) [ "$command" = lock ] && arguments=-1 && return ;;
        -*) ;;
        *) if [ -z "$command" ]; then command=${words[i]}; else arguments=$((arguments + 1)); fi ;;
        esac
    done
}

_varnelctl_ask() {
    "${words[0]}" --timeout 1 "${connection[@]}" keys "$@" 2>/dev/null
}

# The text as it has to be typed where the cursor is: in text. Fails when there is no way.
_varnelctl_typed() {
    case $quote in
    \') text=${1//\'/"'\''"} ;;
    \")
        [[ $1 != *!* ]] || return # stands for an earlier command there, or keeps its backslash
        text=${1//\\/\\\\}
        text=${text//\"/\\\"}
        text=${text//\$/\\\$}
        text=${text//\`/\\\`}
        ;;
    *) printf -v text %q "$1" ;;
    esac
}

# Lines of standard input that begin with the current text, less the part of it that bash does not replace.
_varnelctl_offer() {
    local line text
    while IFS= read -r line; do
        [[ $line == "$current"* && $line != "$kept" ]] && _varnelctl_typed "${line:${#kept}}" && COMPREPLY+=("$text")
    done
}

_varnelctl_offer_words() {
    local word
    _varnelctl_offer < <(for word in "$@"; do echo "$word"; done)
}

# Layers with a colon behind them, then groups, then names: one step at a time. $1 is how far: layer, group or name.
_varnelctl_offer_keys() {
    local layer=${current%%:*} rest=${current#*:}
    case $current in
    *:*:*) [ "$1" = name ] && _varnelctl_offer < <(_varnelctl_as_written "$layer" "$(_varnelctl_ask "$layer:${rest%%:*}")") ;;
    *:*) [ "$1" != layer ] && _varnelctl_offer < <(_varnelctl_as_written "$layer" "$(_varnelctl_ask --groups "$layer:")" "$1") ;;
    *)
        local colon=:
        [ "$1" = layer ] && colon=
        _varnelctl_offer < <(_varnelctl_ask --layers | sed "s/\$/$colon/")
        ;;
    esac
    [[ ${#COMPREPLY[@]} -ne 0 && ${COMPREPLY[0]} == *: ]] && compopt -o nospace 2>/dev/null
}

# Keys in $2 with the layer as it stands on the line, where it may be empty; groups get a colon when names are wanted.
_varnelctl_as_written() {
    local key end=
    [ "${3-}" = name ] && end=:
    while IFS= read -r key; do
        [ -n "$key" ] && [[ $key != *: ]] && echo "$1:${key#*:}$end"
    done <<<"$2"
}

_varnelctl_files() {
    local file
    while IFS= read -r file; do COMPREPLY+=("$file"); done < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
}

# What may stand behind an option; fails for one that takes nothing.
_varnelctl_offer_value() {
    case $1 in
    --socket) _varnelctl_files ;;
    --type) _varnelctl_offer_words string int32 uint32 int64 uint64 float double boolean ;;
    --durability) _varnelctl_offer_words memory file folder ;;
    --udp | --timeout | --from | --count | --wait) ;;
    *) return 1 ;;
    esac
}

_varnelctl_options() {
    local always="--help --socket --udp --timeout"
    case $1 in
    '') echo "$always --version" ;;
    get | list | explain) echo "$always --json" ;;
    set) echo "$always --json --verbose --durability --respect-locks --type" ;;
    unset) echo "$always --json --verbose --durability --respect-locks" ;;
    keys) echo "$always --json --groups --layers" ;;
    watch) echo "$always --json --from --count --reconnect" ;;
    lock) echo "$always --wait" ;;
    dump) echo "$always --all" ;;
    load) echo "$always --json --verbose --durability --respect-locks --replace --dry-run" ;;
    status) echo "$always --json --limits --statistics --version" ;;
    sync) echo "$always --json --verbose" ;;
    mkgroup | rmgroup) echo "$always --json --verbose --durability" ;;
    check) echo "$always --json --syntax" ;;
    *) echo "$always" ;;
    esac
}

_varnelctl_offer_argument() {
    case $command:$arguments in
    :*) _varnelctl_offer_words get set unset list keys watch lock explain dump load status sync mkgroup rmgroup check ;;
    get:0 | set:0 | explain:0 | list:0 | keys:0 | dump:0 | lock:0) _varnelctl_offer_keys name ;;
    unset:* | watch:*) _varnelctl_offer_keys name ;;
    mkgroup:0 | rmgroup:0) _varnelctl_offer_keys group ;;
    sync:0) _varnelctl_offer_keys layer ;;
    load:0 | load:1 | check:0) _varnelctl_files ;;
    lock:-1) _varnelctl_offer < <(compgen -c -- "$current") ;;
    esac
}

_varnelctl() {
    local words connection command arguments current kept quote options
    COMPREPLY=()
    _varnelctl_read_line
    _varnelctl_connection
    _varnelctl_command
    [ ${#words[@]} -gt 1 ] && _varnelctl_offer_value "${words[-1]}" && return
    if [[ $current == -* && $arguments -ge 0 ]]; then
        read -ra options < <(_varnelctl_options "$command")
        _varnelctl_offer_words "${options[@]}"
    else
        _varnelctl_offer_argument
    fi
}

complete -F _varnelctl varnelctl
