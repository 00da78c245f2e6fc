#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs a boot script in a shell: boot_script_stand_ins.sh BOOT.CMD, in a folder of its own, with the
# stored environment in "environment". COMES_UP: the partitions that load, SAVES: yes or no.
# Leaves "booted" with the kernel's arguments, or none, and the environment as the script saved it:
# every variable of it, as the boot loader does, and none of the shell's own.
# What it runs, and so which functions are called and which variables set, is known only then.
# shellcheck disable=SC1090,SC1091,SC2154,SC2317

environment_names=$(sed 's/=.*//' environment | tr '\n' ' ')

# Without a value it takes the variable away.
setenv() {
    name=$1
    shift
    kept=
    for one in ${environment_names}; do
        test "${one}" = "${name}" || kept="${kept}${one} "
    done
    environment_names=${kept}
    unset "${name}"
    if test $# -gt 0; then
        environment_names="${environment_names}${name} "
        eval "$name=\"\$*\""
    fi
}

saveenv() {
    test "${SAVES}" = yes || return 1
    for name in ${environment_names}; do
        eval "echo \"$name='\${$name}'\""
    done >environment
    echo saved >>saves
}

# Its numbers are hexadecimal.
setexpr() {
    case $3 in
    -) setenv "$1" "$(printf '%x' "$((0x${2} - 0x${4}))")" ;;
    *) return 1 ;;
    esac
}

run() {
    eval "eval \"\${$1}\""
}

load() {
    case " ${COMES_UP} " in
    *" $2 "*)
        setenv fileaddr 40400000
        setenv filesize 1a2b3c
        return 0
        ;;
    esac
    return 1
}

booti() {
    test "${filesize}" = 1a2b3c || echo "nothing was loaded" >&2
    echo "${bootargs}" >booted
    exit 0
}

reset() {
    exit 0
}

. ./environment
. "$1"
echo "the script went on behind its reset" >&2
exit 1
