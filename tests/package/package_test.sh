#!/usr/bin/env bash
# Installs the build into a scratch prefix, builds a consumer against it with find_package, runs it:
# package_test.sh CMAKE BUILD_DIR WORK_DIR
set -euo pipefail
cmake=$1 build=$2 work=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

rm -rf "$work"
"$cmake" --install "$build" --prefix "$work/prefix" >/dev/null
"$cmake" -S "$here/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
"$cmake" --build "$work/consumer" >/dev/null
"$work/consumer/consumer"
"$work/prefix/bin/vmshost" --version
