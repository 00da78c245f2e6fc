#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Completes command lines of otactl as an interactive shell would.
set -u
# shellcheck source=/dev/null
source "$1"
failures=0

# completes "otactl words up to the cursor" "expected words, sorted"
completes() {
    local found
    read -ra COMP_WORDS <<<"$1"
    [[ $1 == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _otactl
    found=$(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | tr '\n' ' ')
    found=${found% }
    if [[ $found != "$2" ]]; then
        echo "\"$1\" completes to \"$found\", expected \"$2\""
        failures=$((failures + 1))
    fi
}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1

# An otactl that answers as the service does, and writes down what it was asked.
mkdir bin
cat >bin/otactl <<'TEXT'
#!/bin/sh
echo "$*" >>"$ASKED"
case "$*" in
*"--json history -n 200")
    echo '{"seq":1,"event":"started","ticket":0,"reason":"\"ticket\":99"}'
    echo '{"seq":2,"event":"accepted","ticket":7,"version":"4QZ2.1.0"}'
    echo '{"seq":3,"event":"finished","ticket":7,"version":"4QZ2.1.0"}'
    echo '{"seq":4,"event":"accepted","ticket":12,"version":"4QZ2.2.0"}'
    echo '{"seq":5,"event":"cancelled","ticket":8,"version":"4QZ2.2.0"}'
    ;;
*"--json banks")
    echo '{"banks":[{"name":"a","version":"4QZ2.0.0"}],"failed_versions":[{"version":"4QZ2.1.0","trials":1},{"version":"$(touch hit)"},{"version":"4QZ3-beta","trials":2}]}'
    ;;
esac
TEXT
chmod +x bin/otactl
export ASKED=$folder/asked PATH=$folder/bin:$PATH
touch image.json "odd name.json"

completes "otactl " "activate-at banks cancel commit config explain forget history metrics offer set sign status support-bundle trigger verify watch"
completes "otactl s" "set sign status support-bundle"
completes "otactl --js" "--json"
completes "otactl --" "--bus --help --json --version"
completes "otactl --bus " ""
completes "otactl status " ""
completes "otactl --bus unix:path=/x wa" "watch"
completes "otactl watch --until" "--until-finished --until-idle"
completes "otactl watch --until-finished " "12 7 8"
completes "otactl watch --until-finished 1" "12"
completes "otactl cancel " "12"
completes "otactl cancel 12 " ""
completes "otactl forget " "4QZ2.1.0 4QZ3-beta"
completes "otactl forget 4QZ3" "4QZ3-beta"
completes "otactl --bus unix:path=/x forget " "4QZ2.1.0 4QZ3-beta"
completes "otactl offer --" "--bus --first-poll --help --json --offload --onboarding-status --version --wait"
completes "otactl offer im" "image.json"
completes "otactl offer od" "odd name.json"
completes "otactl offer image.json " ""
completes "otactl offer --wait im" "image.json"
completes "otactl history -" "--bus --help --json --version -h -n"
completes "otactl config " "check"
completes "otactl config check im" "image.json"
completes "otactl sign im" "image.json"
completes "otactl sign --key im" "image.json"
completes "otactl sign --key image.json od" "odd name.json"
completes "otactl verify --" "--bus --ca --help --json --version"
completes "otactl set work" "work_mode work_role"
completes "otactl set work_mode " ""
completes "otactl --json status " ""
completes "otactl nonsense --j" "--json"

is() { # what, expected, found
    [[ $2 == "$3" ]] || {
        echo "$1: \"$3\", expected \"$2\""
        failures=$((failures + 1))
    }
}
is "what the service was asked last" "--bus unix:path=/x --json banks" "$(tail -n 1 asked)"
is "how often it was asked" 6 "$(wc -l <asked)"
is "files that a hostile version made" "" "$(find . -name hit)"
printf '#!/bin/sh\nexit 3\n' >bin/otactl
completes "otactl cancel " ""
completes "otactl forget " ""

[[ $(complete -p otactl) == "complete -F _otactl otactl" ]] || {
    echo "the function is not registered"
    failures=$((failures + 1))
}
exit $((failures > 0))
