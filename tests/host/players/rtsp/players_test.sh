#!/usr/bin/env bash
# Other people's players watch the host over RTSP: players_test.sh SOURCE_DIR BUILD_DIR WORK_DIR
# Live streams and recordings, inside the connection and over UDP, in all codecs.
set -euo pipefail
source=$1 build=$2 work=$3

for program in ffmpeg ffprobe mpv gst-launch-1.0; do
    command -v "$program" >/dev/null || { echo "$program is not installed"; exit 77; }
done

rm -rf "$work"
mkdir -p "$work"
"$source/scripts/make-sample-media.sh" "$work/media/hall" --day 20260305 --seconds 6
cat >"$work/vms.json" <<JSON
{"http": {"port": 0}, "rtsp": {"port": 0},
 "modules": [{"name": "files", "library": "$build/lib/libfamily_mediafile.so",
              "config": {"streamserver": {"content": "$work/media"}}, "devices": [{"id": "hall"}]}]}
JSON
"$build/bin/vmshost" serve --config "$work/vms.json" >"$work/host" 2>&1 &
host=$!
trap 'kill $host 2>/dev/null || true; wait $host 2>/dev/null || true' EXIT
for ((i = 0; i < 100; ++i)); do
    grep -qs '^ready' "$work/host" && break
    sleep 0.1
done
url=$(sed -n 's/^serving //p' "$work/host")
[[ -n $url ]] || { cat "$work/host"; exit 1; }
recording="from=2026-03-05T08:00:00Z&to=2026-03-05T08:00:06Z"

# check NAME COMMAND...: silent and in time, or it is told what was said.
check() {
    local name=$1
    shift
    if ! timeout 25 "$@" >"$work/$name" 2>&1 </dev/null; then
        echo "$name failed: $*"
        tail -5 "$work/$name"
        : >"$work/failed"
    elif [[ -s $work/$name ]]; then
        echo "$name complains:"
        tail -5 "$work/$name"
        : >"$work/failed"
    fi
}

decode() { ffmpeg -nostdin -v error -rtsp_transport "$1" -i "$2" -t 3 -f null - 2>&1; }

# What a stream is made of, as ffprobe says: codecs expected, transport, address.
probe() {
    local found
    found=$(ffprobe -v error -rtsp_transport "$2" -show_entries stream=codec_name -of csv=p=0 "$3" |
            tr '\n' ' ')
    [[ $found == "$1 " ]] || echo "expected $1, found $found"
}

# One track alone, up to its end: gst-launch links two of one source in a race. What it says of the
# requests that it sends while it ends is of no interest.
gst() {
    local said
    said=$(gst-launch-1.0 rtspsrc "$@" 2>&1)
    [[ $said == *"Got EOS"* ]] || echo "$said"
}

# All pictures of six seconds, up to the end.
whole() {
    local found
    found=$(ffprobe -v error -rtsp_transport "$1" -count_packets -select_streams v:0 \
            -show_entries stream=nb_read_packets -of csv=p=0 "$2")
    [[ $found == 150 ]] || echo "$found of 150 pictures"
}

export -f decode probe gst whole
codecs=("h264 aac" "hevc pcm_alaw" "mjpeg pcm_mulaw")
depay=("rtph264depay ! avdec_h264" "rtph265depay ! avdec_h265" "rtpjpegdepay ! jpegdec")
sound=("rtpmp4gdepay ! avdec_aac" "rtppcmadepay ! alawdec" "rtppcmudepay ! mulawdec")
for transport in tcp udp; do
    for channel in 0 1 2; do
        check "probe-$transport-$channel" bash -c \
            "probe '${codecs[channel]}' $transport $url/live/hall/$channel" &
        check "decode-$transport-$channel" bash -c "decode $transport $url/live/hall/$channel" &
        check "gst-video-$transport-$channel" bash -c "gst 'location=$url/live/hall/$channel' \
            protocols=$transport latency=200 ! application/x-rtp,media=video ! ${depay[channel]} ! \
            identity eos-after=30 ! fakesink" &
        check "gst-audio-$transport-$channel" bash -c "gst 'location=$url/live/hall/$channel' \
            protocols=$transport latency=200 ! application/x-rtp,media=audio ! ${sound[channel]} ! \
            identity eos-after=15 ! fakesink" &
        wait -n || true
        wait -n || true
        wait -n || true
    done
    check "whole-$transport" bash -c "whole $transport '$url/play/hall/0?$recording'" &
    check "mpv-$transport" mpv --no-config --vo=null --ao=null --msg-level=all=error \
        "--rtsp-transport=$transport" --length=2 "$url/live/hall/1" &
    check "mpv-seek-$transport" mpv --no-config --vo=null --ao=null --msg-level=all=error \
        "--rtsp-transport=$transport" --start=3 "$url/play/hall/0?$recording" &
done
for job in $(jobs -p); do
    [[ $job == "$host" ]] || wait "$job" || true
done
kill -0 "$host"
[[ ! -e $work/failed ]]
