// Families and hosts are built apart from the library: the place of every virtual operation in its
// table is part of the contract.
#include <gtest/gtest.h>

#include <cstring>

#include "module/ICommandBus.h"
#include "module/IModule.h"
#include "module/IStreamModule.h"
#include "platform/ILogHandler.h"
#include "platform/IStreamConnectionController.h"
#include "platform/IWebSocketClient.h"
#include "tests/videodevice/FakeFamily.h"
#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/IStreamCallback.h"
#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/ITalkStreamServer.h"
#include "videodevice/IVideoDevice.h"
#include "videodevice/IVideoDeviceFactory.h"
#include "videodevice/VideoDeviceModule.h"
#include "websocket/INetEventHandle.h"

namespace {

/// A pointer to a virtual member holds 1 + the offset of its table entry (Itanium C++ ABI, 2.3).
template <class Operation>
size_t SlotOf(Operation operation) {
    size_t words[2] = {};
    static_assert(sizeof operation == sizeof words);
    std::memcpy(words, &operation, sizeof words);
    EXPECT_EQ(words[0] % sizeof(void*), 1U) << "not virtual";
    return (words[0] - 1) / sizeof(void*);
}

/// The operations stand in the table one after the other, the first at `first`.
template <class... Operations>
void ExpectConsecutive(size_t first, Operations... operations) {
    size_t expected = first;
    for (const size_t slot : {SlotOf(operations)...})
        EXPECT_EQ(slot, expected++);
}

// A virtual destructor takes two entries.
constexpr size_t kNoDestructor = 0;
constexpr size_t kAfterDestructor = 2;

TEST(SlotOrder, ModuleAndHost) {
    ExpectConsecutive(kNoDestructor, &IModule::Init, &IModule::UnInit, &IModule::OnTimer,
                      &IModule::SetCallback, &IModule::InitP2PInfo);
    ExpectConsecutive(kNoDestructor, &IStreamModule::OnConnect, &IStreamModule::OnClose,
                      &IStreamModule::OnRecv, &IStreamModule::OnStream,
                      &IStreamModule::SetConnectionControl);
    ExpectConsecutive(kNoDestructor, &IStreamConnectionController::SendData,
                      &IStreamConnectionController::SendCommand,
                      &IStreamConnectionController::CloseConnection,
                      &IStreamConnectionController::GetServerAddress,
                      &IStreamConnectionController::QueryDataCount);
    ExpectConsecutive(kNoDestructor, &ICommandBus::RegisterCommand, &ICommandBus::SendResponse,
                      &ICommandBus::SendRequest);
    ExpectConsecutive(kNoDestructor, &ILogHandler::SetLevel, &ILogHandler::Log);
}

TEST(SlotOrder, WebSocket) {
    ExpectConsecutive(kNoDestructor, &IWebSocketClient::Release, &IWebSocketClient::Connect,
                      &IWebSocketClient::Send, &IWebSocketClient::Stop,
                      &IWebSocketClient::GetHandle, &IWebSocketClient::GetCloseStatus,
                      &IWebSocketClient::SetEventHandle, &IWebSocketClient::SendBinary);
    using Message = void (INetEventHandle::*)(long long, const char*, int);
    using TopicMessage = void (INetEventHandle::*)(long long, const char*, const char*, int);
    ExpectConsecutive(kAfterDestructor, &INetEventHandle::OnConnect, &INetEventHandle::OnClose,
                      static_cast<Message>(&INetEventHandle::OnRecv),
                      static_cast<TopicMessage>(&INetEventHandle::OnRecv));
}

TEST(SlotOrder, Factory) {
    ExpectConsecutive(
        kNoDestructor, &IVideoDeviceFactory::Init, &IVideoDeviceFactory::UnInit,
        &IVideoDeviceFactory::CreateDevice, &IVideoDeviceFactory::CreatePreviewServer,
        &IVideoDeviceFactory::CreateFaceFrameServer, &IVideoDeviceFactory::CreatePlaybackServer,
        &IVideoDeviceFactory::CreateDownloadServer, &IVideoDeviceFactory::CreateTalkServer,
        &IVideoDeviceFactory::CreateSyncPlaybackServer,
        &IVideoDeviceFactory::CreateSyncPlaybackChannelServer, &IVideoDeviceFactory::DeviceTest);
}

TEST(SlotOrder, Device) {
    ExpectConsecutive(
        kAfterDestructor, &IVideoDevice::SearchRecord, &IVideoDevice::Reserved4,
        &IVideoDevice::IsCanSeek, &IVideoDevice::GetDevSessionId, &IVideoDevice::Reserved7,
        &IVideoDevice::Reserved8, &IVideoDevice::SetChannelName, &IVideoDevice::DevTiming,
        &IVideoDevice::QueryRecordDate, &IVideoDevice::Reserved12, &IVideoDevice::PreparePlayback,
        &IVideoDevice::GetConnectType, &IVideoDevice::GetDevicePermission,
        &IVideoDevice::GetDeviceTime, &IVideoDevice::Transmission, &IVideoDevice::PtzGetCapability,
        &IVideoDevice::GetCapability, &IVideoDevice::PtzControl, &IVideoDevice::PtzGetSpeed,
        &IVideoDevice::PtzSetSpeed, &IVideoDevice::PtzGetPreset, &IVideoDevice::PtzAddPreset,
        &IVideoDevice::PtzDelPreset, &IVideoDevice::PtzCallPreset, &IVideoDevice::PtzGetCruise,
        &IVideoDevice::PtzAddCruise, &IVideoDevice::PtzDelCruise, &IVideoDevice::PtzStartCruise,
        &IVideoDevice::PtzStopCruise);
}

TEST(SlotOrder, Sources) {
    ExpectConsecutive(
        kAfterDestructor, &IPreviewStreamServer::StartPreview, &IPreviewStreamServer::StopPreview,
        &IPreviewStreamServer::RequestStopGetPreviewStream,
        &IPreviewStreamServer::GetCloseGetStreamStatus, &IPreviewStreamServer::GetStreamUri,
        &IPreviewStreamServer::GetTalkEncodeType);
    ExpectConsecutive(kAfterDestructor, &IFaceFrameServer::StartFaceFrame,
                      &IFaceFrameServer::StopFaceFrame,
                      &IFaceFrameServer::RequestStopGetPreviewStream,
                      &IFaceFrameServer::GetCloseGetStreamStatus, &IFaceFrameServer::GetStreamUri);
    ExpectConsecutive(kAfterDestructor, &IPlaybackStreamServer::StartPlayback,
                      &IPlaybackStreamServer::StartDownload, &IPlaybackStreamServer::StopPlayback,
                      &IPlaybackStreamServer::GetStreamUri,
                      &IPlaybackStreamServer::RequestStopGetPlaybackStream,
                      &IPlaybackStreamServer::GetCloseGetStreamStatus,
                      &IPlaybackStreamServer::Pause, &IPlaybackStreamServer::Resume,
                      &IPlaybackStreamServer::SetSpeed, &IPlaybackStreamServer::Seek);
    ExpectConsecutive(
        kAfterDestructor, &ISyncPlaybackServer::Create, &ISyncPlaybackServer::AddChannels,
        &ISyncPlaybackServer::DelChannels, &ISyncPlaybackServer::Destroy,
        &ISyncPlaybackServer::Start, &ISyncPlaybackServer::Stop, &ISyncPlaybackServer::Seek,
        &ISyncPlaybackServer::SetSpeed, &ISyncPlaybackServer::Pause, &ISyncPlaybackServer::Resume,
        &ISyncPlaybackServer::GetToken, &ISyncPlaybackServer::RequestStopGetPlaybackStream,
        &ISyncPlaybackServer::GetCloseGetStreamStatus);
    // Its destructor comes last.
    ExpectConsecutive(kNoDestructor, &ITalkStreamServer::StartTalk,
                      &ITalkStreamServer::SendTalkData, &ITalkStreamServer::StopTalk);
    ExpectConsecutive(kNoDestructor, &IStreamCallback::SteramCallback,
                      &IStreamCallback::MsgCallback, &IStreamCallback::UpdateKeyFrame,
                      &IStreamCallback::QueryDataCountToSend);
}

/// Hosts cast between the bases of a module by name only, but their order is part of its layout.
TEST(SlotOrder, BasesOfTheVideoModule) {
    vms::test::FakeFactory factory;
    VideoDeviceModule object(&factory);
    VideoDeviceModule* const module = &object;
    const auto offset = [module](const void* base) {
        return static_cast<const char*>(base) - reinterpret_cast<const char*>(module);
    };
    EXPECT_EQ(offset(static_cast<IModule*>(module)), 0);
    EXPECT_EQ(offset(static_cast<IStreamModule*>(module)), 8);
    EXPECT_EQ(offset(static_cast<IStreamCallback*>(module)), 16);
}

}  // namespace
