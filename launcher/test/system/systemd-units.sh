#!/usr/bin/env bash
# Runs every unit of packaging/systemd in a real systemd, booted in a throw-away
# container, and checks what an administrator relies on: `systemctl start` returns
# once the service runs (and fails, with the launcher's code, when it cannot run),
# every clean end leaves the unit inactive rather than failed whoever began it, a
# killed service is restarted, and systemd never misses the PID file.
#
# Usage: systemd-units.sh <build dir> <source dir> <test fixtures jar> [units dir]
# Exits 77 (a skip for ctest) with the reason when no container can run here.
set -uo pipefail

build=$(realpath "$1")
source_dir=$(realpath "$2")
fixtures_jar=$(realpath "$3")
units_dir=$(realpath "${4:-$source_dir/packaging/systemd}")

# shellcheck source=../../../scripts/systemd-container.sh
source "$source_dir/scripts/systemd-container.sh"
if ! reason=$(sc_check); then
    echo "SKIP: $reason"
    exit 77
fi
if ! sc_boot; then
    echo "SKIP: no container boots here (see above)"
    exit 77
fi
# Whatever hangs, the container goes down before ctest's own limit would kill this
# script without its clean-up.
(
    trap 'kill $! 2>/dev/null; exit 0' TERM
    sleep 200 &
    wait $!
    kill -TERM $$
) &
watchdog=$!
trap 'kill "$watchdog" 2>/dev/null; sc_teardown' EXIT
sc_install "$build" || exit 1

# Rows run in command substitutions too, so failures are counted in a file.
fail() {
    echo "  FAIL $*" >&2
    echo "$*" >>"$SC_DIR/failures"
}

# Instance directories: "ok" beats until stopped, "slow" too but enters its start
# method a second after the JVM exists, "finite" returns from start by itself after
# three beats, "broken" names a class that does not exist (code 7).
make_instance() { # <directory> <kind>
    local dir=$1 kind=$2
    mkdir -p "$SC_ROOT$dir"
    cp -r "$SC_ROOT/opt/heartbeat/lib" "$SC_ROOT$dir/" 2>/dev/null
    mkdir -p "$SC_ROOT$dir/logs"
    case $kind in
        ok) sed 's/interval-ms=1000/interval-ms=200/' ;;
        slow)
            cp "$fixtures_jar" "$SC_ROOT$dir/lib/"
            # shellcheck disable=SC2016 # ${instance.root} is the launcher's own placeholder
            sed -e 's/main-class: example.Heartbeat/main-class: contract.SlowStart/' \
                -e 's|  - -Xmx64m|  - -Xmx64m\n  - -Dslowstart.entered=${instance.root}/logs/entered|' ;;
        finite) sed 's/  - interval-ms=1000/  - interval-ms=100\n  - beats=3/' ;;
        broken) sed 's/main-class: example.Heartbeat/main-class: example.Missing/' ;;
    esac <"$SC_ROOT/opt/heartbeat/launcher.yml" >"$SC_ROOT$dir/launcher.yml.new"
    mv "$SC_ROOT$dir/launcher.yml.new" "$SC_ROOT$dir/launcher.yml"
}
for kind in ok slow finite broken; do
    make_instance "/opt/heartbeat-$kind" "$kind"
    make_instance "/srv/launcher/$kind" "$kind"
done
# As the Debian package installs it.
ln -s /opt/launcher/bin/launcher "$SC_ROOT/usr/bin/launcher"

# Every unit records how each run ended: "$SERVICE_RESULT $EXIT_CODE $EXIT_STATUS"
# (under /var, as the container has a /run of its own that the host cannot see).
results=/var/lib/unit-results
mkdir -p "$SC_ROOT/etc/systemd/system"
for path in "$units_dir"/*.service; do
    unit=$(basename "$path")
    cp "$path" "$SC_ROOT/etc/systemd/system/"
    mkdir -p "$SC_ROOT/etc/systemd/system/$unit.d"
    cat >"$SC_ROOT/etc/systemd/system/$unit.d/record.conf" <<EOF
[Service]
ExecStopPost=/bin/sh -c 'mkdir -p $results; echo "\$SERVICE_RESULT \$EXIT_CODE \$EXIT_STATUS" >>$results/%n'
RestartSec=200ms
EOF
done
sc_run systemctl daemon-reload

prop() { sc_run systemctl show -p "$2" --value "$1"; }

# Waits until the unit is neither activating, active nor deactivating nor about
# to restart; prints its final state.
settled() { # <unit>
    local state i
    for ((i = 0; i < 150; i++)); do
        state=$(prop "$1" ActiveState)
        case $state in
            inactive | failed)
                [ "$(prop "$1" SubState)" = auto-restart ] || { echo "$state"; return; } ;;
        esac
        sleep 0.1
    done
    echo "still-$state"
}

last_result() { # <unit>
    tail -n 1 "$SC_ROOT$results/$1" 2>/dev/null
}

# For the example units, points /opt/heartbeat at the instance of that kind and
# prints the unit; a template's instance name selects its directory itself.
unit_for() { # <unit file> <kind>
    if [[ $1 == *@.service ]]; then
        echo "${1%@.service}@$2.service"
    else
        rm -rf "$SC_ROOT/opt/heartbeat"
        ln -s "heartbeat-$2" "$SC_ROOT/opt/heartbeat"
        echo "$1"
    fi
}

instance_dir() { # <unit file> <kind>
    if [[ $1 == *@.service ]]; then echo "/srv/launcher/$2"; else echo "/opt/heartbeat-$2"; fi
}

# Starts the unit and waits until the service beats. With "strict", a unit that
# promises to wait for the service must not have returned before the service's
# start method was entered (the slow instance enters it a second after the JVM
# exists, and marks the moment with logs/entered). Prints the main PID.
start_running() { # <unit> <type> <instance dir> [strict]
    local unit=$1 type=$2 dir=$3 pid rc i late returned
    rm -f "$SC_ROOT$dir/logs/heartbeat.log" "$SC_ROOT$dir/logs/entered"
    timeout 30 nsenter -t "$SC_INIT" -a -- systemctl start "$unit"
    rc=$?
    returned=$(date +%s%N)
    for ((i = 0; i < 100; i++)); do
        [ -n "${4:-}" ] && [ -z "${late:-}" ] && [ -e "$SC_ROOT$dir/logs/entered" ] &&
            late=$((($(date +%s%N) - returned) / 1000000))
        grep -q "Heartbeat service running" "$SC_ROOT$dir/logs/heartbeat.log" 2>/dev/null && break
        sleep 0.02
    done
    pid=$(prop "$unit" MainPID)
    if [ "$rc" != 0 ] || [ "$pid" = 0 ] || [ "$i" = 100 ]; then
        fail "$unit: systemctl start gave $rc, main PID '$pid', beating: $([ "$i" = 100 ] && echo no || echo yes)"
        return 1
    fi
    if [ -n "${4:-}" ]; then
        if [ -z "${late:-}" ]; then
            fail "$unit: the slow instance did not mark the entry to its start method"
        elif [ "$type" = simple ]; then
            echo "  --   start returned $late ms before the service's start was entered (Type=simple does not wait)" >&2
        elif [ "$late" -gt 300 ]; then
            fail "$unit: systemctl start returned $late ms before the service's start was entered"
        else
            echo "  ok   start returned when the service's start had been entered (found ${late} ms after)" >&2
        fi
    fi
    echo "$pid"
}

# Ends a row: the unit must settle in the state and with the recorded result given.
expect_end() { # <unit> <row> <state> <result pattern>
    local state result
    state=$(settled "$1")
    result=$(last_result "$1")
    if [ "$state" != "$3" ] || [[ ! $result =~ ^$4$ ]]; then
        fail "$1 $2: ended $state with result '$result', expected $3 with '$4'"
        sc_run journalctl -u "$1" -n 8 --no-pager -o cat | sed 's/^/      /' >&2
    else
        echo "  ok   $2: $state, $result"
    fi
}

begin() { # <unit>
    sc_run systemctl reset-failed "$1" 2>/dev/null
    rm -f "$SC_ROOT$results/$1"
}

# A clean end: 0 in the foreground, 100 (graceful) from a detached launcher.
clean='success exited (0|100)'

for path in "$units_dir"/*.service; do
    file=$(basename "$path")
    type=$(sed -n 's/^Type=//p' "$path")
    echo "$file (Type=$type)"
    ok_dir=$(instance_dir "$file" ok)
    launcher=$(sed -n 's/^ExecStart=\([^ ]*\) .*/\1/p' "$path")
    pid_file=$(sed -n 's/^PIDFile=//p' "$path")

    # systemctl start, then stop
    unit=$(unit_for "$file" slow)
    begin "$unit"
    if start_running "$unit" "$type" "$(instance_dir "$file" slow)" strict >/dev/null; then
        sc_run systemctl stop "$unit" || fail "$unit: systemctl stop failed"
        expect_end "$unit" "systemctl stop" inactive "$clean"
    fi

    # Ends not begun by systemd: stop mode, a signal by hand.
    unit=$(unit_for "$file" ok)
    for how in stop-mode usr1; do
        begin "$unit"
        pid=$(start_running "$unit" "$type" "$ok_dir") || continue
        case $how in
            stop-mode)
                if [ -n "$pid_file" ]; then
                    sc_run "$launcher" stop --pidfile "$pid_file" --timeout 20000
                else
                    sc_run "$launcher" stop --pid "$pid" --timeout 20000
                fi >/dev/null 2>&1 ;;
            usr1) sc_run kill -USR1 "$pid" ;;
        esac
        expect_end "$unit" "$how" inactive "$clean"
    done

    # A start method that returns by itself.
    unit=$(unit_for "$file" finite)
    begin "$unit"
    if start_running "$unit" "$type" "$(instance_dir "$file" finite)" >/dev/null; then
        expect_end "$unit" "start returned by itself" inactive "$clean"
    fi

    # SIGKILL: Restart=on-failure brings it back.
    unit=$(unit_for "$file" ok)
    begin "$unit"
    if pid=$(start_running "$unit" "$type" "$ok_dir"); then
        sc_run kill -KILL "$pid"
        for ((i = 0; i < 100; i++)); do
            new=$(prop "$unit" MainPID)
            [ "$new" != 0 ] && [ "$new" != "$pid" ] && [ "$(prop "$unit" ActiveState)" = active ] && break
            sleep 0.1
        done
        restarts=$(prop "$unit" NRestarts)
        if [ "$i" = 100 ] || [ "$restarts" != 1 ]; then
            fail "$unit SIGKILL: not restarted (main PID $pid -> $new, NRestarts=$restarts)"
        else
            echo "  ok   SIGKILL: restarted as $new"
        fi
        sc_run systemctl stop "$unit"
        expect_end "$unit" "stop after restart" inactive "$clean"
        grep -q '^signal killed KILL$' "$SC_ROOT$results/$unit" ||
            fail "$unit SIGKILL: the kill was not recorded: $(tr '\n' ';' <"$SC_ROOT$results/$unit")"
    fi

    # More plain cycles where systemd reads a PID file, ten starts in all.
    if [ -n "$pid_file" ]; then
        for ((cycle = 0; cycle < 4; cycle++)); do
            start_running "$unit" "$type" "$ok_dir" >/dev/null && sc_run systemctl stop "$unit"
        done
    fi

    # A broken instance: the start fails with the launcher's code when the unit
    # waits for the service, and the unit ends failed either way.
    unit=$(unit_for "$file" broken)
    begin "$unit"
    timeout 30 nsenter -t "$SC_INIT" -a -- systemctl start "$unit" 2>/dev/null
    rc=$?
    if [ "$type" = simple ]; then
        [ "$rc" = 0 ] || fail "$unit broken: a simple unit's start gave $rc"
    else
        [ "$rc" != 0 ] || fail "$unit broken: systemctl start reported success"
    fi
    expect_end "$unit" "broken" failed 'exit-code.*'
    # A forking unit's start process is no main process, so systemd reports its
    # code in the journal only and restarts after it despite RestartPreventExitStatus=.
    sc_run journalctl -u "$unit" -o cat --no-pager | grep -q 'process exited, code=exited, status=7/' ||
        fail "$unit broken: the journal does not have the launcher's code 7"
    restarts=$(prop "$unit" NRestarts)
    [ "$type" = forking ] || [ "$restarts" = 0 ] ||
        fail "$unit broken: restarted $restarts times despite RestartPreventExitStatus="
    sc_run systemctl reset-failed "$unit"
done

# Over all those starts, systemd must never have looked for a PID file too early.
missed=$(sc_run journalctl --no-pager -o cat | grep -c "Can't open PID file")
[ "$missed" = 0 ] || fail "the journal has $missed \"Can't open PID file\" lines"

failures=0
[ -f "$SC_DIR/failures" ] && failures=$(wc -l <"$SC_DIR/failures")
echo "$failures failure(s)"
[ "$failures" = 0 ]
