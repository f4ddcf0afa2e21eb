#!/usr/bin/env bash
# Unpacks the headers of GStreamer's WebRTC library into build/webrtc-headers, without the 145 packages
# that their own package would bring. Does nothing where they are there or installed. Where they cannot
# be had the build leaves libvms_whep.so out.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

package=libgstreamer-plugins-bad1.0-dev
target=build/webrtc-headers
[[ -f $target/gst/webrtc/webrtc.h || -f /usr/include/gstreamer-1.0/gst/webrtc/webrtc.h ]] && exit 0

# Of the version whose library is installed, if that is still to be had.
version=$(dpkg-query -W -f='${Version}' libgstreamer-plugins-bad1.0-0 2>/dev/null) || version=
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"  # apt fetches as a user of its own
(
    cd "$work"
    apt-get download -qq "$package${version:+=$version}" 2>/dev/null ||
        apt-get download -qq "$package" 2>/dev/null
) || { echo "no headers of GStreamer's WebRTC: the build does without" >&2; exit 0; }
dpkg-deb -x "$work"/*.deb "$work/unpacked"
mkdir -p "$target/gst"
cp -r "$work/unpacked/usr/include/gstreamer-1.0/gst/webrtc" "$target/gst/"
