#!/usr/bin/env bash
# Installs the build into a scratch prefix and compiles each header that is there, alone and with
# nothing of the source tree in reach: headers_test.sh CMAKE BUILD_DIR WORK_DIR COMPILER [FLAG...]
set -euo pipefail
cmake=$1 build=$2 work=$3 compiler=$4
shift 4

rm -rf "$work"
"$cmake" --install "$build" --prefix "$work/prefix" >/dev/null
cd "$work/prefix/include/deviceaccess"
headers=$(find . -name '*.h' -printf '%P\n' | sort)
for wanted in module/IModule.h platform/SysCommandHelper.h onvif/OnvifModule.h \
              videodevice/VideoDeviceModule.h websocket/TaveroPreview_ws.h; do
    grep -qx "$wanted" <<<"$headers" || { echo "not installed: $wanted" >&2; exit 1; }
done

compile() {
    local header=$1
    shift
    # Twice, for the guard.
    printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
        "$@" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I. -x c++ - ||
        { echo "does not compile alone: $header" >&2; return 1; }
}
export -f compile
xargs -P 2 -I{} bash -c 'compile "$@"' _ {} "$compiler" "$@" <<<"$headers"
