# Completion of tarn for bash.

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
        COMPREPLY=($(compgen -W "analyze show edit export import draw chords cache --help --version" -- "$word"))
        return
    fi
    local edits="metre= meter= move-bar bar-beats shift-downbeats offset-downbeats key= add-region adjust-region
        shift-region rename-region remove-region add-section rename-section color-section remove-section
        add-marker remove-marker add-chord change-chord remove-chord add-note change-note remove-note"
    local options=--help
    case $command in
    analyze) options+=" -o --force --relink --midi --picture --json" ;;
    show) options+=" --json" ;;
    edit) options+=" --dry-run" ;;
    export) options+=" --what --timing --no-notes --no-chords --transpose" ;;
    import) options+=" --what --by --at --channel --beats-per-bar --first-downbeat --dry-run" ;;
    draw) options+=" --width --seconds-per-row" ;;
    cache) options+=" --clear --max-size" ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$word"))
        return
    fi
    case $previous in
    --midi) _tarn_files "mid" ;;
    --picture) _tarn_files "svg" ;;
    --what) COMPREPLY=($(compgen -W "beats chords sections$([[ $command == export ]] && echo " regions")" -- "$word")) ;;
    --by) COMPREPLY=($(compgen -W "grid time" -- "$word")) ;;
    --at | --channel | --beats-per-bar | --first-downbeat | --transpose | --width | --seconds-per-row | --max-size) ;;
    --timing) COMPREPLY=($(compgen -W "song fixed seconds" -- "$word")) ;;
    *)
        case $command in
        analyze) _tarn_files "wav|aif|aiff|flac|ogg|opus|mp3|tarn" ;;
        export) _tarn_files "tarn|mid|lab|csv|svg|html" ;;
        import) _tarn_files "tarn|mid|lab|csv|txt" ;;
        draw) _tarn_files "tarn|svg|html" ;;
        show) _tarn_files "tarn" ;;
        edit)
            if ((COMP_CWORD == 2)); then
                _tarn_files "tarn"
            else
                COMPREPLY=($(compgen -W "$edits" -- "$word"))
            fi
            ;;
        esac
        ;;
    esac
}

complete -F _tarn tarn
