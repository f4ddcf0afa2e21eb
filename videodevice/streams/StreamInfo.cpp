#include "videodevice/streams/StreamInfo.h"

StreamInfo::~StreamInfo() {
    // The video sources first: a face source may outlive its record.
    previewServer.reset();
    playbackServer.reset();
}
