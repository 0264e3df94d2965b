# Completion of zelk for fish.

set -l regions standard iso8859-2 iso8859-7 iso8859-9 iso8859-9-alt iso8859-15 gb2312

complete -c zelk -n __fish_use_subcommand -f -a decode -d 'Decode DVB strings'
complete -c zelk -n __fish_use_subcommand -f -a explain -d 'Show what each byte of a DVB string did'
complete -c zelk -n __fish_use_subcommand -f -a scan -d 'List services, networks, bouquets and events of a transport stream'
complete -c zelk -n __fish_use_subcommand -f -a huffman -d 'Expand compressed programme-guide text'
complete -c zelk -n __fish_use_subcommand -f -a convert -d 'Convert files between character sets'
complete -c zelk -n __fish_use_subcommand -f -a sort -d 'Sort lines alphabetically'
complete -c zelk -n __fish_use_subcommand -f -a match -d 'Write the lines that match a wildcard pattern'
complete -c zelk -n __fish_use_subcommand -f -a quote -d 'Extract or strip quoted parts of lines'
complete -c zelk -n __fish_use_subcommand -f -a case -d 'Map UTF-8 text to capital or small letters'
complete -c zelk -n __fish_use_subcommand -f -a xml -d 'Escape text for XML, or unescape it'
complete -c zelk -n __fish_use_subcommand -f -a validate -d 'Test whether text is valid UTF-8'

complete -c zelk -s h -l help -d 'Show the help'
complete -c zelk -n __fish_use_subcommand -l version -d 'Show the version'

complete -c zelk -n '__fish_seen_subcommand_from decode explain huffman' -s r -l raw -d 'Strings are raw bytes'
complete -c zelk -n '__fish_seen_subcommand_from decode explain huffman' -s f -l file -r -d 'Read strings from a file'

complete -c zelk -n '__fish_seen_subcommand_from decode explain scan convert' -l region -x -a "$regions" -d 'Regional setting'
complete -c zelk -n '__fish_seen_subcommand_from decode explain scan convert' -l default-code -x -a 'default none iso8859-1 iso8859-2 iso8859-5 iso8859-7 iso8859-9 iso8859-15 utf-8 ucs-2 compressed' -d 'Code of strings without a selector'
complete -c zelk -n '__fish_seen_subcommand_from decode explain scan convert' -l extra -x -d 'Encoding type of default code 22'
complete -c zelk -n '__fish_seen_subcommand_from decode explain scan convert' -l keep-emphasis -d 'Keep the emphasis codes'
complete -c zelk -n '__fish_seen_subcommand_from explain scan' -l color -x -a 'auto always never' -d 'When to colour'
complete -c zelk -n '__fish_seen_subcommand_from decode explain scan' -l json -d 'Write JSON'
complete -c zelk -n '__fish_seen_subcommand_from scan' -l csv -d 'Write comma-separated values'
complete -c zelk -n '__fish_seen_subcommand_from scan' -l ndjson -d 'Write each record as it comes'
complete -c zelk -n '__fish_seen_subcommand_from scan' -l follow -d 'Write only what changes'
complete -c zelk -n '__fish_seen_subcommand_from scan' -l limit -x -d 'End after so many records'
complete -c zelk -n '__fish_seen_subcommand_from scan' -l duration -x -d 'End after so many seconds'
complete -c zelk -n '__fish_seen_subcommand_from decode' -l to -x -a 'utf8 ucs2' -d 'Form of the text'

complete -c zelk -n '__fish_seen_subcommand_from huffman' -l title -d 'The code of programme titles'
complete -c zelk -n '__fish_seen_subcommand_from huffman' -l description -d 'The code of programme descriptions'
complete -c zelk -n '__fish_seen_subcommand_from huffman' -l type -x -a '1 2 5 6' -d 'An encoding type of DVB text'
complete -c zelk -n '__fish_seen_subcommand_from huffman' -l skip -x -d 'Leave out the first characters'

complete -c zelk -n '__fish_seen_subcommand_from convert' -s f -l from -x -a "(zelk convert --list 2>/dev/null | awk 'NR > 1 { print \$1 }')" -d 'Set of the input'
complete -c zelk -n '__fish_seen_subcommand_from convert' -s t -l to -x -a 'utf8 ucs2 ucs2be ucs2le' -d 'Set of the output'
complete -c zelk -n '__fish_seen_subcommand_from convert' -l checked -d 'Leave a file that is UTF-8 as it is'
complete -c zelk -n '__fish_seen_subcommand_from convert' -l tolerant -d 'UTF-8 up to the first fault'
complete -c zelk -n '__fish_seen_subcommand_from convert' -s o -l output -r -d 'Write to a file'
complete -c zelk -n '__fish_seen_subcommand_from convert' -l strict -d 'Stop at the first fault'
complete -c zelk -n '__fish_seen_subcommand_from convert' -l list -d 'List the character sets'

complete -c zelk -n '__fish_seen_subcommand_from sort' -s r -l reverse -d 'Sort the last line first'
complete -c zelk -n '__fish_seen_subcommand_from sort' -s n -l natural -d 'Sort numbers by their value'
complete -c zelk -n '__fish_seen_subcommand_from sort' -s k -l key -x -d 'Sort by a field'
complete -c zelk -n '__fish_seen_subcommand_from sort' -s u -l unique -d 'Write one of equal lines'
complete -c zelk -n '__fish_seen_subcommand_from sort' -s o -l output -r -d 'Write to a file'

complete -c zelk -n '__fish_seen_subcommand_from match' -s i -l ignore-case -d 'Let small and capital letters match'
complete -c zelk -n '__fish_seen_subcommand_from match' -l ignore-control -d 'Skip control characters'
complete -c zelk -n '__fish_seen_subcommand_from match' -s v -l invert -d 'Write the lines that do not match'
complete -c zelk -n '__fish_seen_subcommand_from match' -s c -l count -d 'Write how many lines match'

complete -c zelk -n '__fish_seen_subcommand_from quote' -a 'extract strip'
complete -c zelk -n '__fish_seen_subcommand_from quote' -l open -x -d 'Opening quote'
complete -c zelk -n '__fish_seen_subcommand_from quote' -l close -x -d 'Closing quote'

complete -c zelk -n '__fish_seen_subcommand_from case' -a 'upper lower'
complete -c zelk -n '__fish_seen_subcommand_from xml' -a 'escape unescape'

complete -c zelk -n '__fish_seen_subcommand_from validate' -s l -l lines -d 'Report every line that is invalid'
complete -c zelk -n '__fish_seen_subcommand_from validate' -s q -l quiet -d 'Report by the exit status alone'
