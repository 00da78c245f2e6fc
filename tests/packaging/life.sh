#!/bin/sh
# SPDX-License-Identifier: MIT
# The life of the packages of a node, from their installation to their purge, as root of a machine that
# may be thrown away. No service runs there.
#
#     life.sh FOLDER-WITH-PACKAGES
set -eu

packages=$1
work=$(mktemp -d)
older=0.0.1
wanted=/etc/systemd/system/multi-user.target.wants/otad.service

step() { echo "life: $*"; }
fail() {
    echo "life: FAILED: $*" >&2
    exit 1
}
quietly() { "$@" >"$work/said" 2>&1 || { cat "$work/said" >&2 && fail "$*"; }; }

own() { quietly dpkg "$@" libotaswagent ota-tools otactl otad; }

# All files but those that a package manager writes for itself, and the accounts.
files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /in -o -path /out \
        -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log/dpkg.log -o -path /var/lib/systemd \
        -o -path /run -o -path /var/log/journal \) -prune -o -print | LC_ALL=C sort
}

# The packages as they would have been in an older version.
make_older() {
    mkdir "$work/older"
    for name in libotaswagent ota-tools otactl otad; do
        folder=$work/unpacked/$name
        mkdir -p "$folder"
        dpkg-deb -R "$packages/$name"_*.deb "$folder"
        sed -i "s/^Version: .*/Version: $older/; s/\((= \)[^)]*)/\1$older)/g" "$folder/DEBIAN/control"
        quietly dpkg-deb -b "$folder" "$work/older"
    done
}

# A package of a board: its configuration, which it may change with each version.
make_board() {
    folder=$work/board-$1
    mkdir -p "$folder/DEBIAN" "$folder/etc/otaSwAgent"
    cat >"$folder/DEBIAN/control" <<TEXT
Package: board
Version: $1
Architecture: all
Maintainer: Nobody <nobody@example.org>
Depends: otad
Description: a board's configuration
TEXT
    echo /etc/otaSwAgent/node.conf >"$folder/DEBIAN/conffiles"
    sed -e 's,^\([ab] = \)/dev/mmcblk0p[23],\1/var/lib/banks/\1,' -e 's,/\([ab]\) = $,/\1,' \
        -e '/^signer_ca/d' -e 's/^signature = required/signature = optional/' \
        -e '/^\[root\]/,$d' -e "s/^serial = .*/serial = SN$2/" -e 's/^size = .*/size = 64K/' \
        /usr/share/doc/otaSwAgent/node.conf.example >"$folder/etc/otaSwAgent/node.conf"
    quietly dpkg-deb --root-owner-group -b "$folder" "$work/board_$1.deb"
}

# What the service and its maker would have left on a node.
make_node() {
    mkdir -p /var/lib/banks /var/log/ota /var/lib/ota/otad
    chmod 0750 /var/lib/ota /var/log/ota
    truncate -s 64K /var/lib/banks/a /var/lib/banks/b
    echo payload >"$work/payload"
    ota-image make --payload "$work/payload" --version 4QZ2.0.0 --model GW-1000 --output "$work/image"
    ota-boot-state init --active a --image "$work/image" --output /var/lib/ota/boot_state
    for file in otad/requests.json otad/settings.ini otad/history.jsonl last_reboot_info; do
        echo "kept $file" >"/var/lib/ota/$file"
    done
    echo 1 >/var/log/ota/otaSwAgent.log
    echo key >/etc/otaSwAgent/node.key
    chmod 0600 /etc/otaSwAgent/node.key
}

# Of each file of the node its bytes, owner and mode.
node() {
    find /etc/otaSwAgent /var/lib/ota /var/log/ota /var/lib/banks -type f -exec sha256sum {} + | LC_ALL=C sort
    find /etc/otaSwAgent /var/lib/ota /var/log/ota /var/lib/banks -printf '%p %u %g %m\n' | LC_ALL=C sort
    getent group otaswagent
}

must_be_kept() {
    node >"$work/node.now"
    diff "$work/node" "$work/node.now" || fail "$1 changed the node"
}

must_be() {
    [ "$2" = "$3" ] || fail "$1: '$2', not '$3'"
}

installed() { dpkg-query -W -f='${Version}' "$1"; }
configured_well() { otad --config /etc/otaSwAgent/node.conf --check >/dev/null || fail "the configuration"; }
enabled() { [ -L "$wanted" ] && systemctl --root=/ is-enabled otad 2>/dev/null; }

files >"$work/before"
make_older

step "install and purge, with nothing done between"
quietly dpkg -i "$packages"/*.deb
[ -z "$(ls -A /etc/otaSwAgent)" ] || fail "the package configures a node"
must_be "the unit" "$(enabled)" enabled
getent group otaswagent >/dev/null || fail "no group"
must_be "the configuration's folder" "$(stat -c '%U %a' /etc/otaSwAgent)" "root 755"
sed -n '/^ExecStart=/,/[^\\]$/p' /lib/systemd/system/otad.service | grep -o '/usr/[^ ]*' >"$work/named"
must_be "what the unit starts" "$(wc -l <"$work/named")" 3
xargs ls -d <"$work/named" >/dev/null || fail "the unit names what is not there"
grep -q '^ConditionPathExists=/etc/otaSwAgent/node.conf$' /lib/systemd/system/otad.service ||
    fail "the unit starts without a configuration"
for program in otactl otad ota-image ota-config ota-platform-check ota-report ota-boot-state; do
    quietly "$program" --help
    man=$(find /usr/share/man -name "$program.[158].gz")
    [ -n "$man" ] || fail "no page of $program"
done
quietly /usr/libexec/otaSwAgent/ota-host --help
for library in /usr/lib/*/otaSwAgent/*.so /usr/libexec/otaSwAgent/*; do
    ! ldd "$library" | grep 'not found' || fail "$library lacks a library"
done
own --purge
files >"$work/after"
diff "$work/before" "$work/after" >"$work/left" || { cat "$work/left" && fail "purge leaves this behind"; }

step "install the older version, and a board's configuration"
quietly dpkg -i "$work"/older/*.deb
must_be "the version" "$(installed otad)" "$older"
make_board 1 0001
quietly dpkg -i "$work/board_1.deb"
make_node
configured_well
node >"$work/node"

step "upgrade"
quietly dpkg -i "$packages"/*.deb
must_be "the version" "$(installed otad)" "$(dpkg-deb -f "$packages"/otad_*.deb Version)"
must_be "the unit" "$(enabled)" enabled
must_be_kept "the upgrade"
configured_well

step "a unit that was disabled stays disabled, a configuration that was edited stays edited"
quietly systemctl --root=/ disable otad
quietly dpkg -i "$packages"/*.deb
must_be "the unit" "$(enabled || echo disabled)" disabled
quietly systemctl --root=/ enable otad
echo '# edited' >>/etc/otaSwAgent/node.conf
node >"$work/node"
make_board 2 0002
quietly dpkg --force-confold -i "$work/board_2.deb"
rm -f /etc/otaSwAgent/node.conf.dpkg-dist
must_be_kept "the board's next version"

step "remove, and install again"
own --remove board
[ ! -e /usr/sbin/otad ] || fail "otad is still there"
must_be_kept "the removal"
quietly dpkg -i "$packages"/*.deb "$work/board_2.deb"
must_be "the unit" "$(enabled)" enabled
must_be_kept "the installation"
configured_well

step "purge"
own --purge board
files >"$work/after"
diff "$work/before" "$work/after" | sed -n 's/^> //p' >"$work/left"
! diff "$work/before" "$work/after" | grep '^<' || fail "purge takes what it did not bring"
cat >"$work/may-be-left" <<'TEXT'
/etc/otaSwAgent
/etc/otaSwAgent/node.key
/var/lib/banks
/var/lib/banks/a
/var/lib/banks/b
/var/lib/ota
/var/lib/ota/boot_state
TEXT
diff "$work/may-be-left" "$work/left" || fail "purge leaves more or less behind than it should"
getent group otaswagent >/dev/null || fail "the group is gone, its files might become another's"
sed 's/^/life: left after purge: /' "$work/left"
echo "life: left after purge: the group otaswagent"

step "purge where the state is a link to another place"
quietly dpkg -i "$packages"/*.deb
mv /var/lib/ota /var/lib/elsewhere
ln -s elsewhere /var/lib/ota
echo gone >/var/lib/elsewhere/last_reboot_info
own --purge
must_be "what is left there" "$(ls -A /var/lib/elsewhere)" boot_state
rm -rf "$work"
