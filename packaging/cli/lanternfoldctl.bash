# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later

# bash completion for lanternfoldctl
_lanternfoldctl()
{
    local cur prev words cword
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}
    local commands="service connect trust devices jobs status restart run"
    if [ "$COMP_CWORD" -eq 1 ]; then
        COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur"))
        return
    fi
    case $prev in
        --password-file)
            COMPREPLY=($(compgen -f -- "$cur"))
            return
            ;;
        --kind)
            COMPREPLY=($(compgen -W "unifios classic" -- "$cur"))
            return
            ;;
        --host | --port | --user | --site | --fingerprint | --stagger | --wait-minutes)
            return
            ;;
    esac
    local options
    case ${COMP_WORDS[1]} in
        service) options="--password-file --help" ;;
        connect) options="--host --port --kind --user --site --password-stdin --help" ;;
        trust) options="--host --port --fingerprint --forget --help" ;;
        devices | status) options="--json --password-file --help" ;;
        jobs) options="--json --help" ;;
        restart) options="--stagger --wait --wait-minutes --password-file --help" ;;
        run) options="--password-file --help" ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return
    fi
    # Job names for run, from the jobs file through lanternfoldctl itself (no controller needed).
    if [ "${COMP_WORDS[1]}" = run ]; then
        local IFS=$'\n'
        COMPREPLY=($(compgen -W "$(lanternfoldctl jobs --json 2>/dev/null |
            sed -n 's/^ *"name": "\(.*\)",\{0,1\}$/\1/p')" -- "$cur"))
    fi
}
complete -F _lanternfoldctl lanternfoldctl
