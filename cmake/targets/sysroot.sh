#!/bin/sh
# SPDX-License-Identifier: MIT
# Lays out a folder with Debian's libraries for another processor. The machine itself stays as it is:
# apt works on lists and packages of that folder's own.
#
#     sysroot.sh ARCHITECTURE FOLDER PACKAGE...
set -eu
architecture=$1
folder=$2
shift 2

stamp=$folder/packages
if [ "$(cat "$stamp" 2>/dev/null)" = "$*" ]; then
    exit 0
fi
rm -rf "$folder"
apt=$folder/apt
mkdir -p "$apt/lists/partial" "$apt/archives/partial"
: >"$apt/status"

# This machine's mirrors, without the security updates: their index for rarer processors is at times
# not there, and nothing from here ships.
if [ -r /etc/apt/sources.list.d/debian.sources ]; then
    sources=$apt/debian.sources
    awk -v RS= -v ORS='\n\n' '!/-security/' /etc/apt/sources.list.d/debian.sources >"$sources"
else
    sources=$apt/sources.list
    grep -v -e -security /etc/apt/sources.list >"$sources"
fi

cat >"$apt/conf" <<TEXT
APT::Architecture "$architecture";
APT::Architectures "$architecture";
APT::Install-Recommends "false";
APT::Sandbox::User "$(id -un)";
Acquire::Languages "none";
Debug::NoLocking "true";
Dir::State "$apt";
Dir::State::status "$apt/status";
Dir::Cache "$apt";
Dir::Etc::sourcelist "$sources";
Dir::Etc::sourceparts "-";
TEXT
export APT_CONFIG="$apt/conf"
apt-get update -qq
apt-get install -y -qq --download-only "$@"

for package in "$apt"/archives/*.deb; do
    dpkg-deb -x "$package" "$folder"
done
# Links from the root of that system lead to this one's.
find "$folder" -type l -lname '/*' | while read -r link; do
    ln -snfr "$folder$(readlink "$link")" "$link"
done
rm -rf "$apt" "${folder:?}/usr/share"
printf '%s' "$*" >"$stamp"
