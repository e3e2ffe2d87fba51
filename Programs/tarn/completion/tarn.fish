# Completion of tarn for fish.

# __tarn_complete COMMAND OPTIONS...: a completion that holds once the command is there.
function __tarn_complete
    complete -c tarn -n "__fish_seen_subcommand_from $argv[1]" $argv[2..]
end

complete -c tarn -n __fish_use_subcommand -f
complete -c tarn -n __fish_use_subcommand -l version -d 'Print the version'
complete -c tarn -l help -d 'Print help'
complete -c tarn -n __fish_use_subcommand -a analyze -d 'Find tuning, key, tempo, bars and chords of a recording'
complete -c tarn -n __fish_use_subcommand -a show -d 'Show a document as a chart'
complete -c tarn -n __fish_use_subcommand -a edit -d 'Change a document'
complete -c tarn -n __fish_use_subcommand -a export -d 'Write a document as a file of another format'
complete -c tarn -n __fish_use_subcommand -a import -d 'Read notes, beats, chords or sections into a document'
complete -c tarn -n __fish_use_subcommand -a draw -d 'Draw the song'
complete -c tarn -n __fish_use_subcommand -a chords -d 'List the chords that a text may mean'
complete -c tarn -n __fish_use_subcommand -a cache -d 'Say where the caches lie, or clear them'

__tarn_complete analyze -s o -r -d 'The document'
__tarn_complete analyze -l force -d 'Find everything again'
__tarn_complete analyze -l relink -d 'Take another recording of the same song'
__tarn_complete analyze -l midi -r -d 'Also write a MIDI file'
__tarn_complete analyze -l picture -r -d 'Also draw the song'
__tarn_complete analyze -l json -d 'Print one JSON object'
__tarn_complete show -l json -d 'Print one JSON object'
__tarn_complete edit -l dry-run -d 'Write nothing'
__tarn_complete edit -a '(tarn complete edits)' -d Edit
__tarn_complete export -l format -x -a '(tarn complete formats)' -d 'The format, whatever the ending'
__tarn_complete export -l what -x -a '(tarn complete kinds)' -d 'What the file holds'
__tarn_complete export -l layout -x -a 'bars classic' -d 'How a .mid file counts'
__tarn_complete export -l concert -d 'Chords as they sound'
__tarn_complete export -l width -x -d 'The width of a row of a picture'
__tarn_complete export -l seconds-per-row -x -d 'How much music a row of a picture shows'
__tarn_complete export -l timing -x -a 'song fixed seconds' -d 'The tempo of a .mid file'
__tarn_complete export -l no-notes -d 'Leave the notes out'
__tarn_complete export -l no-chords -d 'Leave the chords out'
__tarn_complete export -l transpose -x -d 'Transpose by semitones'
__tarn_complete import -l format -x -a '(tarn complete formats)' -d 'The format, whatever the ending'
__tarn_complete import -l what -x -a '(tarn complete imported-kinds)' -d 'What is taken of the file'
__tarn_complete import -l concert -d 'Chords are as they sound'
__tarn_complete import -l by -x -a 'grid time' -d 'Where notes are put'
__tarn_complete import -l at -x -d 'Where a .mid file begins in the song'
__tarn_complete import -l channel -x -d 'The only channel to take'
__tarn_complete import -l beats-per-bar -x -d 'How a list of beats is counted'
__tarn_complete import -l first-downbeat -x -d 'The beat of a list that opens bar 1'
__tarn_complete import -l dry-run -d 'Write nothing'
__tarn_complete draw -l width -x -d 'The width of a row in points'
__tarn_complete draw -l seconds-per-row -x -d 'How much music a row shows'
__tarn_complete chords -f
__tarn_complete cache -f -l clear -d 'Remove the cached files'
__tarn_complete cache -l max-size -x -d 'Remove the files not used for longest'
