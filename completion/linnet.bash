# bash completion for linnet: subcommands, their own subcommands and the
# host's adapter names.
_linnet_adapters()
{
    local path
    for path in /sys/class/net/*; do
        [ -e "$path" ] && printf '%s\n' "${path##*/}"
    done
}

_linnet()
{
    local cur=${COMP_WORDS[COMP_CWORD]}
    local commands="version error host list show up down dhcp addr gateway dns mtu vlan ping traceroute connections stats state apply commit rollback"
    local words=() word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || words+=("$word")
    done
    case "${words[0]:-}" in
        "")
            COMPREPLY=($(compgen -W "$commands --json --verbose --help" -- "$cur")) ;;
        addr)
            if [ "${#words[@]}" -eq 1 ]; then
                COMPREPLY=($(compgen -W "add modify delete set $(_linnet_adapters)" -- "$cur"))
            elif [ "${#words[@]}" -eq 2 ]; then
                COMPREPLY=($(compgen -W "$(_linnet_adapters)" -- "$cur"))
            fi ;;
        dns|gateway|vlan)
            local sub="add replace delete"
            [ "${words[0]}" = gateway ] && sub="set"
            [ "${words[0]}" = vlan ] && sub="add remove"
            if [ "${#words[@]}" -eq 1 ]; then
                COMPREPLY=($(compgen -W "$sub $(_linnet_adapters)" -- "$cur"))
            elif [ "${#words[@]}" -eq 2 ]; then
                COMPREPLY=($(compgen -W "$(_linnet_adapters)" -- "$cur"))
            fi ;;
        apply)
            COMPREPLY=($(compgen -W "--dry-run --no-commit --timeout" -- "$cur") $(compgen -f -- "$cur")) ;;
        show|up|down|dhcp|mtu|stats)
            [ "${#words[@]}" -eq 1 ] && COMPREPLY=($(compgen -W "$(_linnet_adapters)" -- "$cur")) ;;
    esac
}
complete -F _linnet linnet
