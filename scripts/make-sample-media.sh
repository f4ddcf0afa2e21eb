#!/usr/bin/env bash
# Makes a folder of sample recordings for the media-file family:
#   scripts/make-sample-media.sh DIR [--day YYYYMMDD] [--seconds N]
# DIR is a device with four channels. Its recordings lie on the given day (today, UTC, if none is
# given) and the day before, N seconds each (default 20), with the time of day burnt in:
#   ch0 H.264 and AAC (mp4), with a faces.json    ch1 H.265 and G.711 A-law (mkv)
#   ch2 JPEG and G.711 mu-law (mkv)               ch3 H.264 and AAC (ts)
# Files that exist are kept. Takes some ten seconds on two cores; needs ffmpeg.
set -euo pipefail

usage() { sed -n '2,9s/^# \{0,1\}//p' "$0"; }

dir= day= seconds=20
while (($#)); do
    case $1 in
        --day) day=${2:?}; shift 2 ;;
        --seconds) seconds=${2:?}; shift 2 ;;
        -h|--help) usage; exit 0 ;;
        -*) usage >&2; exit 2 ;;
        *) dir=$1; shift ;;
    esac
done
[[ -n $dir ]] || { usage >&2; exit 2; }
day=${day:-$(date -u +%Y%m%d)}
before=$(date -u -d "$day -1 day" +%Y%m%d)

h264=(-c:v libx264 -preset ultrafast -tune zerolatency -crf 32 -bf 0 -g 25 -keyint_min 25
      -sc_threshold 0 -x264-params "open-gop=0:scenecut=0:sliced-threads=0")
h265=(-r 12 -c:v libx265 -preset ultrafast -crf 34
      -x265-params "log-level=error:keyint=12:min-keyint=12:scenecut=0:bframes=0:open-gop=0")
jpeg=(-c:v mjpeg -q:v 12 -pix_fmt yuvj420p)
aac=(-c:a aac -b:a 48k -ar 16000 -ac 1)
alaw=(-c:a pcm_alaw -ar 8000 -ac 1)
mulaw=(-c:a pcm_mulaw -ar 8000 -ac 1)

# make CHANNEL DAY HHMMSS TYPE EXTENSION CODEC-OPTIONS...
make() {
    local channel=$1 date=$2 time=$3 type=$4 extension=$5
    shift 5
    local target=$dir/ch$channel/${date}T${time}Z_$type.$extension
    local part=$dir/ch$channel/.part_${date}T${time}.$extension
    local epoch
    [[ -f $target ]] && return
    mkdir -p "$dir/ch$channel"
    epoch=$(date -u -d "${date} ${time:0:2}:${time:2:2}:${time:4:2}" +%s)
    local clock="drawtext=x=20:y=20:fontsize=32:fontcolor=white:box=1:boxcolor=black:\
text='ch$channel $type %{pts\\:gmtime\\:$epoch}'"
    ffmpeg -nostdin -v error -y \
        -f lavfi -i "testsrc2=size=640x360:rate=25:duration=$seconds" \
        -f lavfi -i "sine=frequency=$((300 + 100 * channel)):sample_rate=16000:duration=$seconds" \
        -vf "$clock,format=yuv420p" -af "asetnsamples=320" -shortest "$@" "$part"
    mv "$part" "$target"
}

# Pictures for the face side channel, taken from the first recording.
make_faces() {
    local source
    [[ -f $dir/ch0/faces.json ]] && return
    source=$(find "$dir/ch0" -name '*.mp4' | sort | head -1)
    ffmpeg -nostdin -v error -y -i "$source" -vf crop=96:96:20:200 -frames:v 1 -f image2 \
        "$dir/ch0/face0.jpg"
    ffmpeg -nostdin -v error -y -i "$source" -vf crop=96:96:400:150 -frames:v 1 -f image2 \
        "$dir/ch0/face1.jpg"
    cat >"$dir/ch0/faces.json" <<JSON
{"period": 4, "faces": [
    {"offset": 0.5, "image": "face0.jpg"},
    {"offset": 2, "data": "$(base64 -w0 "$dir/ch0/face1.jpg")"}]}
JSON
}

# Two jobs at a time; a failed one fails the whole.
(make 0 "$before" 100000 schedule mp4 "${h264[@]}" "${aac[@]}"
 make 0 "$day" 080000 schedule mp4 "${h264[@]}" "${aac[@]}"
 make 0 "$day" 083000 motion mp4 "${h264[@]}" "${aac[@]}"
 make 0 "$day" 090000 alarm mp4 "${h264[@]}" "${aac[@]}"
 make_faces
 make 3 "$day" 080000 schedule ts "${h264[@]}" "${aac[@]}"
 make 3 "$day" 083000 motion ts "${h264[@]}" "${aac[@]}") &
first=$!
make 1 "$before" 100000 schedule mkv "${h265[@]}" "${alaw[@]}"
make 1 "$day" 080000 schedule mkv "${h265[@]}" "${alaw[@]}"
make 2 "$day" 080000 schedule mkv "${jpeg[@]}" "${mulaw[@]}"
make 2 "$day" 090000 alarm mkv "${jpeg[@]}" "${mulaw[@]}"
wait "$first"
