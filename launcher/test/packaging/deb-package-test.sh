#!/usr/bin/env bash
# Builds the Debian package from the build tree, checks its control fields,
# layout and lintian, then installs it in a throw-away container (an overlay of
# / on a tmpfs, entered with systemd-nspawn; never on this machine): runs the
# heartbeat example from a copy of the installed one, renders the manual page,
# completes through the installed completion, and removes the package again,
# which must take every file it installed with it and must have written
# nothing else. When the repository has the template unit launcher@.service,
# the container is then booted and an instance of it started and stopped.
# Arguments: <cpack> <build dir> <source dir>
# Exits 77 (skipped) when containers cannot run here.
set -euo pipefail
cpack=$1 build=$2 source=$3
skip() { echo "SKIPPED: $*"; exit 77; }
fail() { echo "FAIL: $*"; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/launcher-deb.XXXXXX")
mounted=()
nspawn= init=
# Stops a booted container: SIGRTMIN+4 asks its systemd to power off.
poweroff() {
    [ -n "$nspawn" ] || return 0
    [ -z "$init" ] || kill -RTMIN+4 "$init" 2>/dev/null || true
    for _ in $(seq 200); do kill -0 "$nspawn" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$nspawn" 2>/dev/null || true
    wait "$nspawn" 2>/dev/null || true
    nspawn=
}
cleanup() {
    local i
    poweroff
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
        umount "${mounted[i]}" 2>/dev/null || umount -l "${mounted[i]}"
    done
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 143' TERM INT

# --- the package itself -------------------------------------------------------
# CPack makes the package's directories with the umask it runs under.
umask 022
"$cpack" --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; fail "cpack failed"; }
debs=("$work"/out/launcher_*_amd64.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "cpack made no single launcher .deb: ${debs[*]}"
deb=${debs[0]}

version=$("$build/bin/launcher" --version)
field() { dpkg-deb -f "$deb" "$1"; }
[ "Version $(field Version)" = "$version" ] || fail "package version $(field Version) against '$version'"
[ "$(field Architecture)" = amd64 ] || fail "architecture $(field Architecture)"
depends=$(field Depends)
for library in libc6 libstdc++6; do
    [[ $depends == *"$library ("* ]] || fail "Depends '$depends' lacks $library"
done
[[ $depends != *jre* && $depends != *java* ]] || fail "Depends '$depends' names a JRE"
[[ $(field Recommends) == *java17-runtime-headless* ]] || fail "Recommends '$(field Recommends)'"

# Every file the package holds, and nothing else.
expected=(
    usr/bin/launcher
    usr/lib/launcher/launcher
    usr/lib/launcher/libinventory.so
    usr/share/bash-completion/completions/launcher
    usr/share/doc/launcher/changelog.gz
    usr/share/doc/launcher/copyright
    usr/share/doc/launcher/examples/heartbeat/launcher.yml
    usr/share/doc/launcher/examples/heartbeat/lib/heartbeat.jar
    usr/share/doc/launcher/examples/heartbeat/src/example/Heartbeat.java
    usr/share/man/man1/launcher.1.gz
)
for unit in "$source"/packaging/systemd/*.service; do
    expected+=("usr/lib/systemd/system/${unit##*/}")
done
dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./||; /\/$/d; /^$/d' | LC_ALL=C sort >"$work/files"
if ! diff <(printf '%s\n' "${expected[@]}" | LC_ALL=C sort) "$work/files"; then
    fail "the package's files differ from the layout above ('>' is in the package only)"
fi
dpkg-deb -x "$deb" "$work/tree"
[ "$(readlink "$work/tree/usr/bin/launcher")" = ../lib/launcher/launcher ] ||
    fail "/usr/bin/launcher is not a link to ../lib/launcher/launcher"
if grep -H "^Exec.*/opt/launcher" "$work"/tree/usr/lib/systemd/system/*.service; then
    fail "units above still name the launcher under /opt/launcher"
fi

lintian --allow-root "$deb" >"$work/lintian.log" 2>&1 || true
cat "$work/lintian.log"
if grep -q '^E:' "$work/lintian.log"; then fail "lintian reports errors"; fi
echo "package built: $(field Package) $(field Version), $(wc -l <"$work/files") files, no lintian errors"

# --- the container ------------------------------------------------------------
[ "$(id -u)" -eq 0 ] || skip "installing in a container needs root (overlay mount, systemd-nspawn)"
command -v systemd-nspawn >/dev/null || skip "systemd-nspawn is missing (Debian package systemd-container)"
layers=$work/layers
mkdir "$layers"
mount -t tmpfs -o mode=0700 tmpfs "$layers" 2>"$work/mount.log" ||
    skip "cannot mount a tmpfs: $(cat "$work/mount.log")"
mounted+=("$layers")
mkdir "$layers/upper" "$layers/work" "$layers/root"
mount -t overlay overlay -o "lowerdir=/,upperdir=$layers/upper,workdir=$layers/work" "$layers/root" \
    2>"$work/mount.log" || skip "cannot mount an overlay of /: $(cat "$work/mount.log")"
mounted+=("$layers/root")
root=$layers/root

# Without a registered machine, nspawn's clean-up of its propagation directory
# complains on a disk-backed /run; the complaint is dropped.
in_container() {
    timeout 60 systemd-nspawn -D "$root" --machine="launcher-deb-$$" --register=no --keep-unit \
        --link-journal=no --resolv-conf=off --timezone=off --pipe -q "$@" \
        2> >(grep -v '^Attempted to remove disk file system' >&2)
}
in_container true 2>"$work/nspawn.log" || skip "systemd-nspawn cannot run a container here: $(cat "$work/nspawn.log")"

# nspawn mounts a tmpfs on the container's /tmp, so the files go elsewhere.
mkdir -p "$root/srv/launcher-deb-test"
cp "$deb" "$root/srv/launcher-deb-test/launcher.deb"
cat >"$root/srv/launcher-deb-test/run.sh" <<'SCRIPT'
set -euo pipefail
cd /srv/launcher-deb-test
check() { if ! eval "$1"; then echo "FAIL in the container: $2"; exit 1; fi; }
case $1 in
install)
    dpkg -i launcher.deb >dpkg.log 2>&1 || { cat dpkg.log; exit 1; }
    expected_version=$2
    check '[ "$(launcher --version)" = "$expected_version" ]' "launcher --version on PATH says $(launcher --version)"
    # A copy, as an administrator would make it: the installed example is read-only documentation.
    rm -rf heartbeat
    cp -r /usr/share/doc/launcher/examples/heartbeat heartbeat
    # Without JAVA_HOME, the Java home can only come from libinventory.so, which the
    # launcher must find beside its real path although it was started through the link.
    set +e
    output=$(env -u JAVA_HOME -u JVM_OPTS LC_ALL=C launcher start --instance "$PWD/heartbeat" \
        --jifacearg beats=2 --jifacearg interval-ms=100 2>&1)
    code=$?
    set -e
    echo "$output"
    check '[ $code -eq 0 ]' "the example ended with $code"
    check 'grep -q "Heartbeat stopped cleanly after 2 beats" <<<"$output"' "the example did not run its two beats"
    check '[ "$(grep -c "^heartbeat " heartbeat/logs/heartbeat.log)" -eq 2 ]' "heartbeat.log holds no two beats"
    check '[ -s heartbeat/logs/launcher.log ]' "no launcher.log in the copied instance"
    page=$(MANWIDTH=80 man -P cat launcher 2>&1)
    check 'grep -q "^EXIT STATUS" <<<"$page" && grep -q "launcher stop" <<<"$page"' "man launcher does not render: $page"
    completed=$(bash -c 'source /usr/share/bash-completion/completions/launcher
        COMP_WORDS=(launcher stop --p); COMP_CWORD=2; _launcher; echo "${COMPREPLY[*]}"')
    check '[ "$completed" = "--pid --pidfile" ]' "the installed completion offers '$completed' for 'launcher stop --p'"
    ;;
remove)
    dpkg -r launcher >dpkg.log 2>&1 || { cat dpkg.log; exit 1; }
    check '! command -v launcher' "launcher is still on PATH"
    ;;
esac
SCRIPT

in_container /bin/bash /srv/launcher-deb-test/run.sh install "$version" || fail "install and run in the container"

# What the container's / gained: the package's files, dpkg's own records and logs,
# the manual page index, and the test's directory. Anything else was written at
# install time outside the package.
changed() {
    (cd "$layers/upper" && find . ! -type d ! -type c | sed 's|^\./||') |
        grep -Ev '^(var/lib/dpkg/|var/log/|var/cache/man/|srv/launcher-deb-test/)' | LC_ALL=C sort || true
}
stray=$(comm -23 <(changed) "$work/files")
[ -z "$stray" ] || fail "installing wrote outside the package:"$'\n'"$stray"
missing=$(comm -13 <(changed) "$work/files")
[ -z "$missing" ] || fail "installed files missing in the container:"$'\n'"$missing"

in_container /bin/bash /srv/launcher-deb-test/run.sh remove || fail "dpkg -r in the container"
# Every path the package brought (its directories too, unless / had them already)
# is gone again.
left=$(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./||; s|/$||; /^$/d' | while read -r path; do
    if [ -e "$root/$path" ] || [ -L "$root/$path" ]; then
        [ -e "/$path" ] || [ -L "/$path" ] || echo "$path"
    fi
done)
[ -z "$left" ] || fail "dpkg -r left behind:"$'\n'"$left"
stray=$(changed)
[ -z "$stray" ] || fail "after dpkg -r the container still differs from /:"$'\n'"$stray"
echo "installed, ran the example, rendered the manual page and removed cleanly in a container"

# --- the template unit, in a booted container -------------------------------------
# Last, on the same overlay with the package installed again: booting writes all
# over the container's /, which the checks above must not see.
template=usr/lib/systemd/system/launcher@.service
[ -f "$source/packaging/systemd/launcher@.service" ] ||
    { echo "SKIPPED step: the template unit starts an instance (packaging/systemd/launcher@.service does not exist)"; exit 0; }
# The instance directory is the --instance argument of its ExecStart, named after
# the unit's instance (%i or %I).
instance_name=heartbeat
instance_dir=$(sed -n 's/^ExecStart=.*--instance[= ]\([^ ]*%[iI][^ ]*\).*/\1/p' "$work/tree/$template" | head -n 1)
[ -n "$instance_dir" ] ||
    { echo "SKIPPED step: the template unit starts an instance (its ExecStart names no --instance with %i)"; exit 0; }
instance_dir=${instance_dir//%[iI]/$instance_name}
in_container /bin/bash /srv/launcher-deb-test/run.sh install "$version" >"$work/reinstall.log" 2>&1 ||
    { cat "$work/reinstall.log"; fail "installing again for the template unit"; }
mkdir -p "$root$instance_dir"
cp -r "$work/tree/usr/share/doc/launcher/examples/heartbeat/." "$root$instance_dir"
user=$(sed -n 's/^User=//p' "$work/tree/$template" | tail -n 1)
[ -z "$user" ] || chroot "$root" chown -R "$user" "$instance_dir" || fail "cannot hand $instance_dir to $user"

unit="launcher@$instance_name.service"
systemd-nspawn -D "$root" --machine="launcher-deb-$$" --register=no --keep-unit \
    --link-journal=no --resolv-conf=off --timezone=off --console=passive -q -b >"$work/boot.log" 2>&1 &
nspawn=$!
for _ in $(seq 100); do
    init=$(pgrep -P "$nspawn" -x systemd | head -n 1) && break
    sleep 0.1
done
[ -n "$init" ] || { cat "$work/boot.log"; fail "the container did not boot"; }
booted() { nsenter -t "$init" -a "$@"; }
# The unit is started as soon as systemd answers on its bus, without waiting for
# the whole boot: the container boots this machine's own system, whose other
# services may take long or never come up in a container.
state=
for _ in $(seq 150); do
    state=$(booted systemctl is-system-running 2>/dev/null) || true
    [ -z "$state" ] || break
    sleep 0.2
done
[[ $state =~ ^(initializing|starting|running|degraded)$ ]] ||
    { cat "$work/boot.log"; fail "the container's systemd does not answer (state '$state')"; }
journal() { booted journalctl -u "$unit" --no-pager -q; }
if ! booted timeout 60 systemctl start "$unit"; then
    journal; poweroff; fail "systemctl start $unit"
fi
for _ in $(seq 100); do
    grep -q '^heartbeat 1 ' "$root$instance_dir/logs/heartbeat.log" 2>/dev/null && break
    sleep 0.1
done
grep -q '^heartbeat 1 ' "$root$instance_dir/logs/heartbeat.log" 2>/dev/null ||
    { journal; poweroff; fail "$unit runs no heartbeat"; }
booted timeout 60 systemctl stop "$unit" || { journal; poweroff; fail "systemctl stop $unit"; }
result=$(booted systemctl show -P Result "$unit")
journal
poweroff
[ "$result" = success ] || fail "$unit ended with result '$result'"
echo "the template unit ran $unit from $instance_dir and stopped it cleanly"
