#!/bin/sh
# Installs the build into a temporary DESTDIR and checks what landed with the tools a desktop and
# Debian use on it: the entry and metainfo validate, the manual pages render without a warning,
# and systemd accepts the unit. Usage: check_install.sh BUILD_DIR GUI(ON|OFF)
set -u
build=$1
gui=$2
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
failed=0
fail() {
    echo "FAILED: $*"
    failed=1
}

DESTDIR=$root cmake --install "$build" --prefix /usr >"$root.log" 2>&1 || {
    cat "$root.log"
    rm -f "$root.log"
    exit 1
}
rm -f "$root.log"

# groff's warnings reach standard error through man; any at all fails.
for page in "$root"/usr/share/man/man*/*; do
    warnings=$(MANWIDTH=80 man --warnings=w -E UTF-8 -l "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$page: $warnings"
    warnings=$(zcat "$page" | groff -man -ww -z -Tutf8 2>&1)
    [ -z "$warnings" ] || fail "$page: $warnings"
done
[ -f "$root/usr/share/man/man8/quaylond.8.gz" ] || fail "no quaylond.8"

# Verified with ExecStart moved into DESTDIR, so that the program it names must have landed there.
# An unknown key is only a warning to systemd; any output at all fails.
unit=$root/usr/lib/systemd/system/quaylond.service
grep -q "^ExecStart=/usr/sbin/quaylond " "$unit" || fail "ExecStart does not name /usr/sbin/quaylond"
mkdir "$root/verify"
sed "s|^ExecStart=/usr/|ExecStart=$root/usr/|" "$unit" >"$root/verify/quaylond.service"
out=$(systemd-analyze verify --man=no "$root/verify/quaylond.service" 2>&1) ||
    fail "systemd-analyze verify: $out"
[ -z "$out" ] || fail "systemd-analyze verify: $out"

[ -s "$root/usr/share/doc/quaylon/copyright" ] || fail "no copyright file"

if [ "$gui" = ON ]; then
    desktop=$root/usr/share/applications/com.orrelin.Quaylon.desktop
    out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
    [ -z "$out" ] || fail "desktop-file-validate: $out"
    out=$(appstreamcli validate --no-net "$root/usr/share/metainfo/com.orrelin.Quaylon.metainfo.xml" 2>&1) ||
        fail "appstreamcli validate: $out"
    # The entry starts what was installed and shows an icon the theme has at every size asked for.
    exec=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
    [ -x "$root/usr/bin/$exec" ] || fail "Exec=$exec is not in /usr/bin"
    icon=$(sed -n 's/^Icon=//p' "$desktop")
    for size in scalable/apps/$icon.svg 16x16/apps/$icon.png 32x32/apps/$icon.png \
        48x48/apps/$icon.png 64x64/apps/$icon.png 128x128/apps/$icon.png 256x256/apps/$icon.png; do
        [ -s "$root/usr/share/icons/hicolor/$size" ] || fail "no icon $size"
    done
fi

[ "$failed" = 0 ] && echo "install checks passed"
exit "$failed"
