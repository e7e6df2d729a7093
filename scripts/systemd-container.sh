# shellcheck shell=bash
# A throw-away systemd to try units in, without touching the host's own services.
# Source this file, then:
#
#   sc_check || exit 77           # prints why a container cannot run here
#   sc_boot                       # boots; from now on sc_teardown runs on EXIT
#   sc_install build              # cmake --install of a build tree into the container
#   sc_run systemctl start foo    # runs a command inside the container
#   sc_teardown                   # optional: the EXIT trap does it too
#
# sc_boot sets the EXIT trap (and INT and TERM end the script through it); a caller
# that sets an EXIT trap of its own afterwards must call sc_teardown from it. Files
# the host writes under "$SC_ROOT" land in the container, except below /run and /tmp,
# where the container mounts file systems of its own.
#
# The container's root is an overlay over the host's / with a tmpfs on top, so
# everything written inside (units, installed files, the journal) vanishes with it
# and the host's files are never changed. It boots into basic.target only, with a
# network of its own, so none of the host's enabled services start in it. Needs
# root, systemd-nspawn (Debian package systemd-container) and nsenter.
#
# Variables set by sc_boot: SC_DIR (scratch directory), SC_ROOT (the container's
# root seen from the host), SC_NSPAWN (PID of systemd-nspawn), SC_INIT (host PID
# of the container's systemd).

# Whether a container can run here; prints the reason when not.
sc_check() {
    local tool
    if [ "$(id -u)" != 0 ]; then
        echo "a container needs root"
        return 1
    fi
    for tool in systemd-nspawn nsenter mount umount; do
        if ! command -v "$tool" >/dev/null; then
            echo "$tool is not installed (systemd-nspawn is in the package systemd-container)"
            return 1
        fi
    done
    if [ ! -x /lib/systemd/systemd ]; then
        echo "no /lib/systemd/systemd to boot"
        return 1
    fi
}

# Runs a command inside the container, in all its namespaces, with a clean
# environment so nothing of the caller's (JAVA_HOME, LOCPATH, ...) leaks in.
sc_run() {
    nsenter -t "$SC_INIT" -a -- /usr/bin/env -i \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 "$@"
}

# Boots the container and waits until its systemd has finished booting.
# Returns non-zero (after cleaning up) when it does not come up in 30 s.
sc_boot() {
    trap sc_teardown EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    SC_DIR=$(mktemp -d /tmp/systemd-container.XXXXXX) || return 1
    SC_ROOT=$SC_DIR/root
    mkdir "$SC_DIR/rw" "$SC_ROOT" || return 1
    mount -t tmpfs -o mode=0755 tmpfs "$SC_DIR/rw" || { echo "cannot mount a tmpfs"; return 1; }
    mkdir "$SC_DIR/rw/upper" "$SC_DIR/rw/work"
    if ! mount -t overlay overlay \
        -o "lowerdir=/,upperdir=$SC_DIR/rw/upper,workdir=$SC_DIR/rw/work" "$SC_ROOT"; then
        echo "cannot mount an overlay of /"
        return 1
    fi
    # An empty machine-id makes systemd take a fresh one for this boot.
    : >"$SC_ROOT/etc/machine-id"
    # A machine name of its own, so that containers booted at the same time by
    # other test runs never meet.
    systemd-nspawn -D "$SC_ROOT" --machine="sc-${SC_DIR##*.}" --register=no --keep-unit --private-network \
        --console=read-only -b -- systemd.unit=basic.target \
        </dev/null >"$SC_DIR/console.log" 2>&1 &
    SC_NSPAWN=$!
    local state="" i
    for ((i = 0; i < 300; i++)); do
        # The container's systemd is nspawn's one child.
        SC_INIT=$(cat /proc/"$SC_NSPAWN"/task/*/children 2>/dev/null | awk '{ print $1; exit }')
        if [ -n "$SC_INIT" ]; then
            state=$(sc_run systemctl is-system-running 2>/dev/null)
            case $state in
                running | degraded) return 0 ;;
            esac
        fi
        if ! kill -0 "$SC_NSPAWN" 2>/dev/null; then
            echo "systemd-nspawn ended at once:"
            tail -n 5 "$SC_DIR/console.log"
            return 1
        fi
        sleep 0.1
    done
    echo "the container did not finish booting in 30 s (state '${state}')"
    return 1
}

# Installs a cmake build tree into the container: the launcher under /opt/launcher
# and the heartbeat example as the instance directory /opt/heartbeat, as the
# README's installation does.
sc_install() {
    local build=$1
    cmake --install "$build" --prefix "$SC_ROOT/opt/launcher" >/dev/null &&
        cmake --install "$build" --component heartbeat --prefix "$SC_ROOT/opt/heartbeat" >/dev/null
}

# Powers the container off (killing it when that takes over 10 s) and removes
# every mount and file sc_boot made. Safe to call more than once.
sc_teardown() {
    local i
    if [ -n "${SC_NSPAWN:-}" ] && kill -0 "$SC_NSPAWN" 2>/dev/null; then
        # nspawn turns SIGTERM into an orderly shutdown of the container.
        kill -TERM "$SC_NSPAWN" 2>/dev/null
        for ((i = 0; i < 100; i++)); do
            kill -0 "$SC_NSPAWN" 2>/dev/null || break
            sleep 0.1
        done
        kill -KILL "$SC_NSPAWN" 2>/dev/null
        wait "$SC_NSPAWN" 2>/dev/null
    fi
    SC_NSPAWN=
    if [ -n "${SC_DIR:-}" ] && [ -d "$SC_DIR" ]; then
        mountpoint -q "$SC_ROOT" && umount "$SC_ROOT"
        mountpoint -q "$SC_DIR/rw" && umount "$SC_DIR/rw"
        # Only what sc_boot made, and only once nothing is mounted there any more.
        mountpoint -q "$SC_ROOT" || mountpoint -q "$SC_DIR/rw" ||
            rm -rf --one-file-system "$SC_DIR"
    fi
    SC_DIR=
}
