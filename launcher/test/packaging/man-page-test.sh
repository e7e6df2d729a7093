#!/usr/bin/env bash
# The manual page lints clean, and every option the launcher's parser declares
# (its usage texts for help, start and stop) is described in the part of the
# page that belongs to that mode.
# Arguments: <launcher binary> <launcher.1>
set -uo pipefail
launcher=$1 page=$2
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

lint=$(mandoc -T lint -W warning "$page" 2>&1) || fail "mandoc -T lint -W warning: $lint"
lint=$(groff -man -ww -z "$page" 2>&1)
[ -z "$lint" ] || fail "groff -ww: $lint"

# The rendered text, without the overstrikes of bold and underlined letters.
text=$(MANWIDTH=80 mandoc -T ascii "$page" | col -bx) || fail "mandoc cannot render $page"

# The lines of one subsection ("launcher start"), up to the next heading, plus
# the options every mode accepts, which come before the first subsection.
section() {
    awk -v title="   launcher $1" '
        /^[A-Z]/ { inOptions = ($0 == "OPTIONS"); inMode = 0; next }
        /^   [^ ]/ { inMode = ($0 == title); seenSubsection = 1; next }
        inMode || (inOptions && !seenSubsection) { print }' <<<"$text"
}

checked=0
for mode in help start stop; do
    if [ "$mode" = help ]; then usage=$("$launcher" help); else usage=$("$launcher" help "$mode"); fi \
        || fail "'launcher help $mode' failed"
    body=$(section "$mode")
    [ -n "$body" ] || fail "no 'launcher $mode' subsection under OPTIONS"
    # "  --instance /path/to/dir   The path ..." and "  --help | -? | -h  show ...":
    # the option names are the words before the description that start with '-';
    # help lists the modes it explains the same way.
    names=$(awk -v mode="$mode" '
        /^  [^ ]/ && (/^  -/ || mode == "help") {
            entry = substr($0, 3); sub(/  .*/, "", entry)
            n = split(entry, word, " ")
            for (i = 1; i <= n; i++) if (word[i] ~ /^-/ || (i == 1 && mode == "help")) print word[i]
        }' <<<"$usage")
    [ -n "$names" ] || fail "no options found in 'launcher help $mode'"
    for name in $names; do
        [ "$name" = "$mode" ] && continue
        checked=$((checked + 1))
        grep -qwF -- "$name" <<<"$body" || fail "$mode option $name is not described in 'launcher $mode' of the manual page"
    done
done

echo "$checked option names checked"
[ "$failures" -eq 0 ]
