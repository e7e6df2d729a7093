#!/usr/bin/env bash
# The bash completion, driven as bash drives it (COMP_WORDS, COMP_CWORD, then
# the function), against the real launcher and, for an option whose values the
# completion knows, a stand-in whose usage text declares it.
# Arguments: <launcher binary> <completion file>
set -uo pipefail
launcher=$1 completion=$2
# shellcheck source=/dev/null
source "$completion"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/conf.d" "$scratch/confs"
touch "$scratch/conf.yml"
cat >"$scratch/future-launcher" <<'USAGE'
#!/bin/sh
cat <<'TEXT'
Usage: launcher start [options] [arguments]

Parameters:
  --daemon                 Launcher is running as a service
  --sigterm jvm|stop|fast  What SIGTERM does
TEXT
USAGE
chmod +x "$scratch/future-launcher"

failures=0
# expect "<words ...>" "<expected completions, sorted, space-separated>"
# The last word is the one being completed.
expect() {
    local words=$1 wanted=$2
    read -r -a COMP_WORDS <<<"$words"
    [[ $words == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _launcher
    local got
    got=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | xargs)
    if [ "$got" != "$wanted" ]; then
        echo "FAIL: '$words' completes to '$got', expected '$wanted'"
        failures=$((failures + 1))
    fi
}

L=$launcher S=$scratch
expect "$L " "--help --version -? -h -v help start stop"
expect "$L help " "--help --version -? -h -v start stop"
expect "$L start --j" "--javahome --jclasspath --jifacearg --jifaceclass --jmodulepath --jvmdll --jvmopt"
expect "$L start --daemon --q" "--quiet"
expect "$L stop --p" "--pid --pidfile"
expect "$L stop --c" "--cerr --clog --cout --cstd"
expect "$L stop --q" ""
expect "$L start --instance $S/con" "$S/conf.d $S/confs"
expect "$L start --clog $S/con" "$S/conf.d $S/conf.yml $S/confs"
expect "$L stop --pidfile $S/conf." "$S/conf.d $S/conf.yml"
expect "$L start --jvmopt " ""
expect "$L stop --timeout " ""
expect "$S/future-launcher start --sigterm " "fast jvm stop"
expect "$S/future-launcher start --sigterm s" "stop"
expect "$S/future-launcher start --" "--daemon --sigterm"

[ "$failures" -eq 0 ] && echo "completion rows passed"
[ "$failures" -eq 0 ]
