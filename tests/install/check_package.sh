#!/bin/bash
# Builds the Debian package, checks it with lintian, installs it with apt, serves a download and
# an upload from the installed quaylond run as the service's user with the unit's capabilities
# (no systemd needed), ends it in order, then purges the package and looks for what it left.
# Leaves the machine as it found it, pass or fail. Usage: check_package.sh BUILD_DIR
set -u
build=$1
skip() {
    echo "skipped: $*"
    exit 77
}
[ "$(id -u)" = 0 ] || skip "installing a package needs root"
for tool in apt-get cpack lintian curl setpriv dpkg-shlibdeps; do
    command -v "$tool" >/dev/null || skip "$tool is missing"
done
installed() { dpkg-query -W -f='${db:Status-Status}' quaylon 2>/dev/null | grep -qv '^not-installed$'; }
installed && skip "a quaylon package is installed here already"
[ -e /var/lib/quaylon ] && skip "/var/lib/quaylon is here already"

getent passwd quaylon >/dev/null && had_user=1 || had_user=0
[ -e /srv/tftp ] && had_srv=1 || had_srv=0
work=$(mktemp -d)
chmod 755 "$work"
pid=
served=
cleanup() {
    [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
    [ -n "$served" ] && rm -f "$served/boot.img" "$served/upload.bin"
    installed && apt-get -o DPkg::Lock::Timeout=300 purge -y quaylon >/dev/null 2>&1
    [ "$had_user" = 0 ] && getent passwd quaylon >/dev/null && deluser --system quaylon >/dev/null 2>&1
    [ "$had_user" = 0 ] && getent group quaylon >/dev/null && delgroup --system quaylon >/dev/null 2>&1
    [ "$had_srv" = 0 ] && [ -d /srv/tftp ] && rmdir /srv/tftp 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
die() {
    echo "FAILED: $*"
    exit 1
}

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1 ||
    die "cpack: $(cat "$work/cpack.log")"
deb=$(echo "$work"/pkg/quaylon_*.deb)
[ -f "$deb" ] || die "no quaylon_*.deb in $(ls "$work/pkg")"
echo "package: $(basename "$deb")"
echo "Depends: $(dpkg-deb -f "$deb" Depends)"
dpkg-deb -f "$deb" Depends | grep -q 'libc6 (>=' || die "no libc6 in Depends: dpkg-shlibdeps did not run"

# Warnings are shown; an error fails.
lintian --allow-root "$deb" >"$work/lintian.log" 2>&1
cat "$work/lintian.log"
grep -q '^E:' "$work/lintian.log" && die "lintian reports errors"

apt-get -o DPkg::Lock::Timeout=300 install -y "$deb" >"$work/apt.log" 2>&1 || die "apt-get install: $(cat "$work/apt.log")"
getent passwd quaylon >/dev/null || die "no user quaylon"
[ -d /srv/tftp ] || die "no /srv/tftp"
[ -L /etc/systemd/system/multi-user.target.wants/quaylond.service ] || die "the service is not enabled"

# As the unit runs it: its user, capabilities, working directory and command, plus a privileged
# loopback port. The served directory is the one the package made, unless it was there before.
unit=/usr/lib/systemd/system/quaylond.service
value() { sed -n "s/^$1=//p" "$unit" | tail -n 1; }
user=$(value User)
caps=$(value AmbientCapabilities | tr 'A-Z' 'a-z' | sed 's/cap_//g; s/ /,+/g')
caps=-all,+$caps
state=$(value WorkingDirectory)
served=$(value Environment | sed -n 's/^QUAYLON_DIR=//p')
[ "$had_srv" = 1 ] && served=$work/served/ && install -d -o "$user" -g "$user" "$served"
# What systemd's StateDirectory= does before the start.
install -d -o "$user" -g "$user" "$state"
read -ra command <<<"$(value ExecStart | sed "s|\${QUAYLON_DIR}|$served|g")"
head -c 70000 /dev/urandom >"$work/boot.img"
install -o root -g root -m 0644 "$work/boot.img" "$served/boot.img"
head -c 3000 /dev/urandom >"$work/upload.bin"
for port in 690 691 692; do
    (cd "$state" && exec setpriv --reuid="$user" --regid="$user" --init-groups \
        --inh-caps="$caps" --ambient-caps="$caps" --bounding-set="$caps" --no-new-privs \
        "${command[@]}" --bind 127.0.0.1 --port "$port" >"$work/stdout" 2>"$work/stderr") &
    pid=$!
    for _ in $(seq 100); do
        grep -q "serving on" "$work/stdout" 2>/dev/null || ! kill -0 "$pid" 2>/dev/null && break
        sleep 0.1
    done
    grep -q "Quaylon serving on 127.0.0.1.$port" "$work/stdout" && break
    kill "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    pid=
done
[ -n "$pid" ] || die "quaylond did not serve: $(cat "$work/stderr")"
curl -sS --max-time 30 -o "$work/got.img" "tftp://127.0.0.1:$port/boot.img" || die "curl download"
cmp -s "$work/boot.img" "$work/got.img" || die "the download differs"
curl -sS --max-time 30 -T "$work/upload.bin" "tftp://127.0.0.1:$port/upload.bin" || die "curl upload"
cmp -s "$work/upload.bin" "$served/upload.bin" || die "the upload differs"
kill -TERM "$pid"
wait "$pid"
status=$?
pid=
[ "$status" = 0 ] || die "quaylond ended with $status on SIGTERM: $(cat "$work/stderr")"
grep -q "boot.img" "$state/Quaylon.log" || die "the rows did not reach the log"
[ -s "$state/registry.reg" ] || die "the settings were not written"
rm -f "$served/boot.img" "$served/upload.bin"

files=$(dpkg-query -L quaylon | while read -r f; do [ -f "$f" ] && echo "$f"; done)
apt-get -o DPkg::Lock::Timeout=300 purge -y quaylon >"$work/apt.log" 2>&1 || die "apt-get purge: $(cat "$work/apt.log")"
installed && die "quaylon is still known to dpkg"
[ "$had_srv" = 0 ] && [ -e /srv/tftp ] && die "left behind: /srv/tftp"
for f in $files /var/lib/quaylon /etc/systemd/system/quaylond.service \
    /etc/systemd/system/multi-user.target.wants/quaylond.service; do
    [ -e "$f" ] || [ -L "$f" ] && die "left behind: $f"
done
echo "package checks passed"
