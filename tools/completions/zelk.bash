# Completion of zelk for bash.

_zelk_options() {
    case $1 in
    decode) echo "--raw --file --region --default-code --extra --keep-emphasis --guess --overrides --no-overrides --country --to --language --service --json" ;;
    explain) echo "--raw --file --region --default-code --extra --keep-emphasis --guess --overrides --no-overrides --country --language --service --color --json" ;;
    encode) echo "--file --region --code --prefer-utf8 --compress --limit --pieces --raw" ;;
    lint) echo "--raw --file --region --default-code --extra --keep-emphasis --guess --overrides --no-overrides --country --stream --language --severity --fail-on --ignore --baseline --write-baseline --json --sarif --rules" ;;
    overrides) ;;
    scan)
        echo "--region --default-code --extra --keep-emphasis --guess --overrides --no-overrides --country --pid --service --now --next --from --until --genre" \
            "--language --text --json --ndjson --csv --xmltv --wide --evidence --follow --limit --duration --color"
        ;;
    huffman) echo "--title --description --type --skip --raw --file" ;;
    convert)
        echo "--from --to --region --default-code --extra --keep-emphasis --guess --overrides --no-overrides --country --language" \
            "--service --checked --tolerant --output --strict --list"
        ;;
    sort) echo "--reverse --natural --key --unique --output" ;;
    match) echo "--ignore-case --ignore-control --invert --count" ;;
    quote) echo "--open --close" ;;
    case) ;;
    xml) ;;
    validate) echo "--lines --quiet" ;;
    esac
}

# The values of an option of a command; none means that any word will do.
_zelk_values() {
    case $1/$2 in
    */--region) echo "standard iso8859-2 iso8859-7 iso8859-9 iso8859-9-alt iso8859-15 gb2312" ;;
    encode/--code) echo "default iso8859-1 iso8859-2 iso8859-5 iso8859-7 iso8859-9 iso8859-15 utf-8 ucs-2 compressed" ;;
    */--default-code) echo "default none iso8859-1 iso8859-2 iso8859-5 iso8859-7 iso8859-9 iso8859-15 utf-8 ucs-2 compressed" ;;
    lint/--severity) echo "note warning error" ;;
    lint/--fail-on) echo "note warning error never" ;;
    lint/--ignore) zelk lint --rules 2>/dev/null | awk 'NR > 1 { print $1 }' ;;
    */--color) echo "auto always never" ;;
    decode/--to) echo "utf8 ucs2" ;;
    convert/--to | convert/-t) zelk convert --list 2>/dev/null | awk '/from, to/ { print $1 }' ;;
    convert/--from | convert/-f) zelk convert --list 2>/dev/null | awk 'NR > 1 { print $1 }' ;;
    huffman/--type) echo "1 2 5 6" ;;
    esac
}

_zelk_actions() {
    case $1 in
    overrides) echo "check compact" ;;
    quote) echo "extract strip" ;;
    case) echo "upper lower" ;;
    xml) echo "escape unescape" ;;
    esac
}

_zelk() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    local words

    if [ "$COMP_CWORD" -eq 1 ]; then
        words="decode explain encode lint overrides scan huffman convert sort match quote case xml validate --help --version"
    elif [[ $current == -* ]]; then
        words="$(_zelk_options "$command") --help"
    else
        [[ $command/$previous != scan/--from ]] || return
        case $previous in
        -f | --file | --output | -o | --stream | --overrides | --baseline | --write-baseline) ;;
        --extra | --country | --pid | --service | --until | --genre | --language | --limit | --duration | --key | --skip | \
            --open | --close) return ;;
        --*) words=$(_zelk_values "$command" "$previous") ;;
        esac
        if [ -z "$words" ] && [ "$COMP_CWORD" -eq 2 ]; then
            words=$(_zelk_actions "$command")
        fi
    fi
    if [ -n "$words" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _zelk zelk
