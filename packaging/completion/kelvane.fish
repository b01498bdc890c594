# Completion for fish. Commands and options are read from the tool's own help.
function __kelvane_commands
    kelvane --help | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z]*\)  *\(.*\)/\1\t\2/p'
end
function __kelvane_options
    kelvane (commandline -opc)[2] --help | sed -n 's/^  \(-h,\)\{0,1\}\(--[a-z-]*\).*/\2/p'
end
function __kelvane_wants_command
    set -l words (commandline -opc)
    test (count $words) -eq 1; or test "$words[2..]" = help
end
complete -c kelvane -n __kelvane_wants_command -f -a '(__kelvane_commands)'
complete -c kelvane -n 'test (count (commandline -opc)) -gt 1; and string match -q -- "-*" (commandline -ct)' -f -a '(__kelvane_options)'
