# Completion for bash. Commands and options are read from the tool's own help.
_kelvane() {
    local tool=${COMP_WORDS[0]} command=${COMP_WORDS[1]-} current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]} help words=
    if [ "$COMP_CWORD" -eq 1 ] || [ "$COMP_CWORD $command" = '2 help' ]; then
        words=$("$tool" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\) .*/\1/p')
    else
        help=$("$tool" "$command" --help 2>/dev/null)
        words=$(sed -n "s/^  $previous [A-Z]*:{\(.*\)}.*/\1/p" <<<"$help" | tr , ' ')
        if [ -z "$words" ] && [[ $current == -* ]]; then
            words=$(sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]*\).*/\2/p' <<<"$help")
        fi
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o bashdefault -o default -F _kelvane kelvane
