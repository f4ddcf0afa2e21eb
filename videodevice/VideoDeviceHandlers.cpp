#include "videodevice/ModuleParts.h"
#include "videodevice/VideoDeviceModule.h"

// The bus handlers: each is carried out by the part that it belongs to.

void VideoDeviceModule::DevicesEnqueue(__tagTvCommand* command) {
    parts_->deviceCommands.Enqueue(command);
}

void VideoDeviceModule::DevicesDequeue(__tagTvCommand* command) {
    parts_->deviceCommands.Dequeue(command);
}

void VideoDeviceModule::SearchRecord(__tagTvCommand* command) {
    parts_->recordSearch.SearchRecord(command);
}

void VideoDeviceModule::GetPreviewUrl(__tagTvCommand* command) {
    parts_->livePreview.GetPreviewUrl(command);
}

void VideoDeviceModule::GetPlaybackUrl(__tagTvCommand* command) {
    parts_->recordedStreams.GetPlaybackUrl(command);
}

void VideoDeviceModule::GetRecordDownloadUrl(__tagTvCommand* command) {
    parts_->recordedStreams.GetRecordDownloadUrl(command);
}

void VideoDeviceModule::DeviceTest(__tagTvCommand* command) {
    parts_->deviceTest.Start(command);
}

void VideoDeviceModule::GetDevSessionId(__tagTvCommand* command) {
    parts_->information.GetDevSessionId(command);
}

void VideoDeviceModule::SetChannelName(__tagTvCommand* command) {
    parts_->information.SetChannelName(command);
}

void VideoDeviceModule::PtzControl(__tagTvCommand* command) {
    parts_->ptz.Control(command);
}

void VideoDeviceModule::GetCapability(__tagTvCommand* command) {
    parts_->information.GetCapability(command);
}

void VideoDeviceModule::QueryRecordDate(__tagTvCommand* command) {
    parts_->recordSearch.QueryRecordDate(command);
}

void VideoDeviceModule::DevTiming(__tagTvCommand* command) {
    parts_->information.DevTiming(command);
}

void VideoDeviceModule::GetConnectType(__tagTvCommand* command) {
    parts_->information.GetConnectType(command);
}

void VideoDeviceModule::GetDevicePermission(__tagTvCommand* command) {
    parts_->information.GetDevicePermission(command);
}

void VideoDeviceModule::GetDeviceTime(__tagTvCommand* command) {
    parts_->information.GetDeviceTime(command);
}

void VideoDeviceModule::Transmission(__tagTvCommand* command) {
    parts_->information.Transmission(command);
}

void VideoDeviceModule::SyncPlaybackCreate(__tagTvCommand* command) {
    parts_->syncPlayback.Create(command);
}

void VideoDeviceModule::SyncPlaybackDestroy(__tagTvCommand* command) {
    parts_->syncPlayback.Destroy(command);
}

void VideoDeviceModule::SyncPlaybackChannelAdd(__tagTvCommand* command) {
    parts_->syncPlayback.ChannelAdd(command);
}

void VideoDeviceModule::SyncPlaybackChannelDel(__tagTvCommand* command) {
    parts_->syncPlayback.ChannelDel(command);
}

void VideoDeviceModule::SyncPlaybackStart(__tagTvCommand* command) {
    parts_->syncPlayback.Start(command);
}

void VideoDeviceModule::SyncPlaybackStop(__tagTvCommand* command) {
    parts_->syncPlayback.Stop(command);
}

void VideoDeviceModule::SyncPlaybackPause(__tagTvCommand* command) {
    parts_->syncPlayback.Pause(command);
}

void VideoDeviceModule::SyncPlaybackResume(__tagTvCommand* command) {
    parts_->syncPlayback.Resume(command);
}

void VideoDeviceModule::SyncPlaybackSeek(__tagTvCommand* command) {
    parts_->syncPlayback.Seek(command);
}

void VideoDeviceModule::SyncPlaybackSetSpeed(__tagTvCommand* command) {
    parts_->syncPlayback.SetSpeed(command);
}
