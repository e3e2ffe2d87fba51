# Completion of tarn for bash.

# _tarn_list WHAT: what the program itself offers of that, on one line.
_tarn_list() {
    "${COMP_WORDS[0]}" complete "$1" 2>/dev/null | paste -s -d ' '
}

# _tarn_files PATTERN: folders, and files whose names end in one of the endings (an extended pattern).
_tarn_files() {
    local IFS=$'\n' extglob
    extglob=$(shopt -p extglob)
    shopt -s extglob
    COMPREPLY=($(compgen -d -- "$word") $(compgen -f -X "!*.@($1)" -- "$word"))
    eval "$extglob"
    compopt -o filenames
}

_tarn() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W "analyze open render show edit undo redo history export import draw chords cache --help --version" -- "$word"))
        return
    fi
    local options=--help
    case $command in
    analyze) options+=" -o --force --relink --midi --picture --json" ;;
    open) options+=" --lan --lan-edit --no-browser --port" ;;
    render) options+=" --speed --pitch --click --count-in --bars" ;;
    show) options+=" --concert --json --salvage" ;;
    edit) options+=" --message --salvage --dry-run" ;;
    undo | redo) options+=" --seen --dry-run" ;;
    history) options+=" --json" ;;
    export) options+=" --format --what --timing --layout --no-notes --no-chords --transpose --concert --width --seconds-per-row" ;;
    import) options+=" --format --what --by --at --channel --beats-per-bar --first-downbeat --concert --dry-run" ;;
    draw) options+=" --format --concert --width --seconds-per-row" ;;
    cache) options+=" --clear --max-size" ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
        return
    fi
    case $previous in
    --midi) _tarn_files "mid" ;;
    --picture) _tarn_files "svg" ;;
    --what) COMPREPLY=($(compgen -W "$([[ $command == export ]] && _tarn_list kinds || _tarn_list imported-kinds)" -- "$word")) ;;
    --format)
        case $command in
        import) COMPREPLY=($(compgen -W "$(_tarn_list imported-formats)" -- "$word")) ;;
        draw) COMPREPLY=($(compgen -W "$(_tarn_list picture-formats)" -- "$word")) ;;
        *) COMPREPLY=($(compgen -W "$(_tarn_list formats)" -- "$word")) ;;
        esac
        ;;
    --layout) COMPREPLY=($(compgen -W "bars classic" -- "$word")) ;;
    --by) COMPREPLY=($(compgen -W "grid time" -- "$word")) ;;
    --port | --speed | --pitch | --count-in | --bars) ;;
    --at | --channel | --message | --seen | --beats-per-bar | --first-downbeat | --transpose | --width | --seconds-per-row | --max-size) ;;
    --timing) COMPREPLY=($(compgen -W "song fixed seconds" -- "$word")) ;;
    *)
        case $command in
        open | render) _tarn_files "wav|aif|aiff|flac|ogg|opus|mp3|tarn" ;;
        analyze) _tarn_files "wav|aif|aiff|flac|ogg|opus|mp3|tarn" ;;
        export)
            local endings=$(_tarn_list exports)
            _tarn_files "tarn|${endings// /|}"
            ;;
        import)
            local endings=$(_tarn_list imports)
            _tarn_files "tarn|${endings// /|}"
            ;;
        draw) _tarn_files "tarn|svg|html" ;;
        show | undo | redo | history) _tarn_files "tarn" ;;
        edit)
            if ((COMP_CWORD == 2)); then
                _tarn_files "tarn"
            else
                COMPREPLY=($(compgen -W "$(_tarn_list edits)" -- "$word"))
            fi
            ;;
        esac
        ;;
    esac
}

complete -F _tarn tarn
