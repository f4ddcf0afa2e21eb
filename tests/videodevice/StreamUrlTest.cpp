// Addresses of live and recorded streams, and what becomes of the sources behind them.
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class StreamUrl : public ModuleFixture {
protected:
    static constexpr const char* kPreviewError = "get preview url error";

    void ExpectEverythingClosed() {
        Tick();
        EXPECT_EQ(SourceState::alive, 0);
    }
};

TEST_F(StreamUrl, ALiveStreamIsSharedWhileItIsWatchedAndFresh) {
    const std::string key = Preview();
    ASSERT_EQ(key.size(), 36U);
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), 0);
    now += 1;
    EXPECT_EQ(Preview(), key);
    now += 1;  // the reuse has refreshed it
    EXPECT_EQ(Preview(), key);
    now += 2;
    TakeCalls();
    EXPECT_NE(Preview(), key);
    EXPECT_EQ(TakeCalls(), (Calls{"StopPreview " + key, "CreatePreviewServer -1",
                                  "StartPreview 0 0", "PreviewUri"}));
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, key), -1);
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

TEST_F(StreamUrl, AStreamThatDeliversStaysFresh) {
    const std::string key = Preview();
    Request(TV_STREAM_PREVIEW_START, 1, key);
    for (int second = 0; second < 5; ++second) {
        now += 1;
        Deliver(key, "unit");
    }
    now += 1;
    EXPECT_EQ(Preview(), key);
}

TEST_F(StreamUrl, NobodyWatchingOrAnotherChannelMeansANewSource) {
    const std::string first = Preview();
    const std::string second = Preview();
    EXPECT_NE(first, second);
    Request(TV_STREAM_PREVIEW_START, 1, second);
    EXPECT_NE(Preview(R"({"id": "d", "channel": 1})"), second);
    EXPECT_NE(Preview(R"({"id": "d", "streamNo": 1})"), second);
    EXPECT_EQ(Preview(), second);
    // The body decides what is looked for, the command whose device is played.
    EXPECT_NE(Preview(R"({"id": "other"})"), second);
    EXPECT_EQ(factory.script.Count("CreatePreviewServer"), 5);
}

TEST_F(StreamUrl, FaceFramesOnlyForExactlyOne) {
    LogProbe log;
    module->SetCallback(&log);
    factory.uri = "k";
    EXPECT_EQ(Preview(R"({"id": "d", "channel": 3, "streamNo": 1, "face": 1})"), "k");
    EXPECT_EQ(log.Take(), (Calls{"1 GetPreviewUrl create preview stream, uri=k, dev=d, channel=3, "
                                 "stream=1, face=1"}));
    EXPECT_EQ(TakeCalls(),
              (Calls{"CreatePreviewServer -1", "StartPreview 3 1", "CreateFaceFrameServer device",
                     "StartFaceFrame 3", "PreviewUri"}));
    module->SetCallback(nullptr);
    Preview(R"({"id": "d", "face": 2})");
    factory.script.Null("CreateFaceFrameServer");
    factory.uri = "without";
    EXPECT_EQ(Preview(R"({"id": "d", "channel": 4, "face": 1})"), "without");
    EXPECT_EQ(factory.script.Count("StartFaceFrame"), 1);
}

TEST_F(StreamUrl, TheFaceSourceOfARetiredStreamClosesOnItsOwn) {
    const std::string key = Preview(R"({"id": "d", "face": 1})");
    SourceState::mayClose = false;
    TakeCalls();
    Preview();
    EXPECT_EQ(TakeCalls()[1], "StopFaceFrame " + key);
    Tick();
    Tick();
    EXPECT_EQ(factory.script.Count("CloseFace"), 2);
    EXPECT_EQ(factory.script.Count("ClosePreview"), 2);
    EXPECT_EQ(SourceState::alive, 3);
    SourceState::mayClose = true;
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

TEST_F(StreamUrl, WhateverFailsEndsAsTheFailureAnswer) {
    const std::string body = R"({"id": "d", "face": 1})";
    for (const char* operation : {"CreatePreviewServer", "StartPreview", "PreviewUri",
                                  "CreateFaceFrameServer", "StartFaceFrame"}) {
        SCOPED_TRACE(operation);
        factory.script.Throw(operation);
        EXPECT_EQ(Ask(TV_CMD_GET_PREVIEW_URL, "d", body), (Answer{-1, kPreviewError}));
        factory.script.Clear();
        ExpectEverythingClosed();
    }
    factory.script.Null("CreatePreviewServer");
    EXPECT_EQ(Ask(TV_CMD_GET_PREVIEW_URL, "d", body), (Answer{-1, kPreviewError}));
    EXPECT_EQ(Ask(TV_CMD_GET_PREVIEW_URL, "nobody", body), (Answer{-1, kPreviewError}));
    for (const char* operation : {"PreparePlayback", "CreatePlaybackServer", "PlaybackUri",
                                  "IsCanSeek", "CreateDownloadServer"}) {
        SCOPED_TRACE(operation);
        factory.script.Throw(operation);
        const bool download = std::string(operation) == "CreateDownloadServer";
        EXPECT_EQ(
            Ask(download ? TV_CMD_GET_RECORD_DOWNLOAD_URL : TV_CMD_GET_PLAYBACK_URL, "d"),
            (Answer{-1, download ? "get record download url error" : "get playback url error"}));
        factory.script.Clear();
        ExpectEverythingClosed();
    }
    factory.script.Null("CreatePlaybackServer");
    EXPECT_EQ(Ask(TV_CMD_GET_PLAYBACK_URL, "d").result, -1);
    EXPECT_EQ(Ask(TV_CMD_GET_PLAYBACK_URL, "nobody"), (Answer{-1, "get playback url error"}));
}

TEST_F(StreamUrl, WithoutAStreamServerNothingIsMade) {
    module->SetConnectionControl(nullptr);
    EXPECT_EQ(Ask(TV_CMD_GET_PREVIEW_URL, "d"), (Answer{-1, kPreviewError}));
    EXPECT_EQ(Ask(TV_CMD_GET_PLAYBACK_URL, "d"), (Answer{-1, "get playback url error"}));
    EXPECT_EQ(Ask(TV_CMD_GET_RECORD_DOWNLOAD_URL, "d"),
              (Answer{-1, "get record download url error"}));
    EXPECT_EQ(Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1").result, -1);
    EXPECT_EQ(TakeCalls(), Calls{});
}

TEST_F(StreamUrl, PlaybackTellsThePlayerWhatItCanDo) {
    LogProbe log;
    module->SetCallback(&log);
    factory.uri = "k";
    factory.script.Result("CreatePlaybackServer", 4);
    factory.script.Result("IsCanSeek", 1);
    const Answer answer = Ask(TV_CMD_GET_PLAYBACK_URL, "d",
                              R"({"channel": 1, "streamNo": 2, "beginTime": 3, "endTime": 4,
                                  "speed": 9})");
    EXPECT_EQ(answer.result, 1);
    EXPECT_EQ(Parsed(answer.body), Parsed(R"({"ip": "10.0.0.1", "port": 8080, "uri": "k",
                                              "sp": 4, "canseek": 1})"));
    EXPECT_EQ(TakeCalls(), (Calls{"PreparePlayback 1 2 3 4", "CreatePlaybackServer -1",
                                  "PlaybackUri", "IsCanSeek"}));
    EXPECT_EQ(log.Take(), (Calls{"1 GetPlaybackUrl create playback stream, uri=k, dev=d, "
                                 "channel=1, stream=2, speedOnlyI=4, IsCanSeek=1"}));
    module->SetCallback(nullptr);
}

TEST_F(StreamUrl, ConfiguredTypesGoToTheFactory) {
    ASSERT_TRUE(module->Init("video-test", R"({"playbackStreamType": 2, "previewStreamType": 3,
                                               "downloadStreamType": 4})"));
    TakeCalls();
    EXPECT_EQ(UrlOf(TV_CMD_GET_PLAYBACK_URL).size(), 36U);
    EXPECT_EQ(Preview().size(), 36U);
    EXPECT_EQ(UrlOf(TV_CMD_GET_RECORD_DOWNLOAD_URL).size(), 36U);
    EXPECT_EQ(TakeCalls(),
              (Calls{"CreatePlaybackServer 2", "PlaybackUri", "IsCanSeek", "CreatePreviewServer 3",
                     "StartPreview 0 0", "PreviewUri", "CreateDownloadServer 4", "PlaybackUri"}));
}

TEST_F(StreamUrl, ADisplacedRecordOfTheSameKeyIsClosedFirst) {
    factory.uri = "same";
    Ask(TV_CMD_GET_PLAYBACK_URL, "d");
    SourceState::mayClose = false;
    TakeCalls();
    EXPECT_EQ(Ask(TV_CMD_GET_RECORD_DOWNLOAD_URL, "d").result, 1);
    EXPECT_EQ(TakeCalls().back(), "StopPlayback same");
    Ask(TV_CMD_GET_PLAYBACK_URL, "d");
    Tick();
    EXPECT_EQ(SourceState::alive, 3);
    SourceState::mayClose = true;
    Tick();
    EXPECT_EQ(SourceState::alive, 1);
}

}  // namespace
}  // namespace vms::test
