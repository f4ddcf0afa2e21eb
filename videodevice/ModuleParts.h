#pragma once

#include <utility>

#include "videodevice/core/DeviceCommands.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/DeviceTest.h"
#include "videodevice/core/InformationCommands.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/core/RecordSearch.h"
#include "videodevice/core/WorkerGroup.h"
#include "videodevice/ptz/PtzCommand.h"
#include "videodevice/streams/FaceReconnect.h"
#include "videodevice/streams/LivePreview.h"
#include "videodevice/streams/MediaPath.h"
#include "videodevice/streams/PlayerRequests.h"
#include "videodevice/streams/RecordedStreams.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"
#include "videodevice/streams/SyncChannels.h"
#include "videodevice/streams/SyncPlayback.h"
#include "videodevice/streams/SyncTable.h"
#include "videodevice/streams/TalkSessions.h"
#include "videodevice/streams/TalkTable.h"

namespace vms {

/// What VideoDeviceModule is made of: tables, each private behind its own lock, and the parts that
/// work on them. Destroyed in reverse order, workers first.
struct ModuleParts {
    ModuleParts(VideoDeviceModule& module, IStreamCallback& sink, IVideoDeviceFactory& factory,
                Clock clock)
        : context(module, sink, factory, std::move(clock)) {}

    /// Ends the workers, then stops and drops every source and driver, while all parts still stand:
    /// a source may be inside a callback until its destructor has returned.
    void ShutDown();

    ModuleContext context;

    DeviceTable devices;
    StreamTable streams;
    SyncTable syncTable;
    TalkTable talkTable;
    Retirement retirement{[this](const std::string& key) { streams.ForgetKeyFrame(key); }};
    WorkerGroup workers;

    InformationCommands information{context, devices};
    RecordSearch recordSearch{context, devices};
    DeviceTest deviceTest{context, workers};
    PtzCommand ptz{context, devices};
    LivePreview livePreview{context, devices, streams, retirement};
    RecordedStreams recordedStreams{context, devices, streams, retirement};
    SyncPlayback syncPlayback{context, devices, syncTable, retirement};
    SyncChannels syncChannels{context, devices, syncTable, retirement};
    DeviceCommands deviceCommands{context, devices, [this](const std::string& sessionKey) {
                                      syncPlayback.Erase(sessionKey);
                                  }};
    TalkSessions talks{context, devices, streams, talkTable};
    PlayerRequests players{context,
                           {streams, syncTable, syncChannels, syncPlayback, talks, retirement}};
    FaceReconnect faces{context, devices, streams, retirement, workers};
    MediaPath media{context, streams, syncTable, retirement, faces};
};

}  // namespace vms
