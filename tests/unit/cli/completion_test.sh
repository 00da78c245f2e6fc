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
touch image.json "odd name.json"

completes "otactl " "activate-at banks cancel commit config explain forget history offer set sign status trigger verify watch"
completes "otactl s" "set sign status"
completes "otactl --js" "--json"
completes "otactl --" "--bus --help --json --version"
completes "otactl --bus " ""
completes "otactl --bus unix:path=/x wa" "watch"
completes "otactl watch --until" "--until-finished --until-idle"
completes "otactl watch --until-finished " ""
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

[[ $(complete -p otactl) == "complete -F _otactl otactl" ]] || {
    echo "the function is not registered"
    failures=$((failures + 1))
}
exit $((failures > 0))
