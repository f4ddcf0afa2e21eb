#!/usr/bin/env bash
# Installs what the build, the simulators and the tests need on Debian 12. Quick when nothing is
# missing; needs root (or sudo) only when something is.
set -euo pipefail

packages=(
    # build
    g++ cmake ninja-build ccache pkg-config
    # library and host
    gsoap libgsoap-dev libssl-dev libjsoncpp-dev libcjson-dev uuid-dev libspdlog-dev
    libcli11-dev liburing-dev libsqlite3-dev libsodium-dev
    # device families
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libjpeg62-turbo-dev
    # players over WebRTC; of what they are built with, scripts/webrtc-headers.sh has the headers alone
    libgstreamer-plugins-bad1.0-0 gstreamer1.0-nice
    # simulators
    libboost1.74-dev libpugixml-dev libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
    libgstrtspserver-1.0-dev nettle-dev gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly gstreamer1.0-x fonts-dejavu-core
    # tests, benchmarks, demo
    libgtest-dev libgmock-dev libbenchmark-dev libcurl4-openssl-dev ffmpeg iproute2 util-linux
    python3 python3-yaml python3-jsonschema openssl curl mpv chromium
    gstreamer1.0-tools gstreamer1.0-libav
)
if [[ "${1:-}" == "--all" ]]; then
    packages+=(clang-14 clang libclang-rt-14-dev)
fi

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null) || state=absent
    [[ "$state" == ii* ]] || missing+=("$package")
done
# Any Node.js with npm will do, the distribution's or another.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
    missing+=(nodejs npm)
fi
headers=$(dirname "${BASH_SOURCE[0]}")/webrtc-headers.sh
((${#missing[@]})) || exec "$headers"

run=()
if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || { echo "missing packages: ${missing[*]} (run as root)" >&2; exit 1; }
    run=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
exec "$headers"
