#!/bin/sh
# SPDX-License-Identifier: MIT
# Compiles every public header by itself, twice included: header_alone.sh <include folder>
# <c or c++> <compiler> [flag...]
set -eu

include=$1
language=$2
shift 2

headers=$(cd "$include" && find . -name '*.h' | sed 's|^\./||' | sort)
[ -n "$headers" ] || { echo "$include: no header found" >&2; exit 1; }

failed=0
for header in $headers; do
    # The declaration keeps a header of macros alone from making an empty unit.
    printf '#include "%s"\n#include "%s"\nextern int ota_a_declaration;\n' "$header" "$header" |
        "$@" -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$include" -x "$language" - ||
        { echo "$header: does not compile alone with: $*" >&2; failed=1; }
done
exit "$failed"
