#!/usr/bin/env bash
# The platform library exports what its headers mark as its own, all of it and nothing else:
# exports_test.sh LIBRARY HEADER_FOLDER
set -euo pipefail
library=$1 headers=$2

marked=$(grep -h VMS_PLATFORM_API "$headers"/*.h | grep -v '#define')
# Names of classes, of functions and of variables, whatever namespace they are in.
wanted=$(sed -nE -e 's/^class VMS_PLATFORM_API ([A-Za-z_]+).*/\1/p' \
             -e 's/^VMS_PLATFORM_API [^(]*[ &*]([A-Za-z_0-9]+)\(.*/\1/p' \
             -e 's/^VMS_PLATFORM_API extern .* ([A-Za-z_]+);/\1/p' <<<"$marked" | sort)
if [[ $(wc -l <<<"$wanted") != $(wc -l <<<"$marked") ]]; then
    echo "not every marked declaration is understood" >&2
    exit 1
fi
wanted=$(sort -u <<<"$wanted")  # overloads share a name
exported=$(nm -DC --defined-only "$library" | cut -d' ' -f3- |
               sed -E -e 's/^vms:://' -e 's/^([A-Za-z_0-9]+)(::|\(|\[abi|$).*/\1/' | sort -u)
diff <(echo "$wanted") <(echo "$exported") >&2 || {
    echo "< marked but not exported, > exported but not marked" >&2
    exit 1
}
