// Whatever comes in, each command is answered once and nothing falls over.
#include "tests/videodevice/ModuleFixture.h"

namespace vms::test {
namespace {

class BadInput : public ModuleFixture {
protected:
    static std::string Repeat(const std::string& text, int times) {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += text;
        return all;
    }

    /// Members of every command with the wrong type, or a number beyond every range.
    static std::string AllMembers(const std::string& value) {
        std::string text = "{";
        for (const char* key :
             {"id",       "devs",       "ip",       "port",     "username", "httpsEnable",
              "channels", "channel",    "name",     "streamNo", "face",     "beginTime",
              "endTime",  "recordType", "seekTime", "speed",    "fileType", "startTime",
              "uri",      "request",    "action",   "contrl",   "preset",   "cruise"})
            text += "\"" + std::string(key) + "\": " + value + ", ";
        return text + "\"last\": 0}";
    }

    static std::vector<std::string> Bodies() {
        const std::string hostile[] = {
            "null",  "[]",         "{}",   "\"text\"",
            "-1",    "1.5",        "true", "123456789012345678901234567890",
            "1e999", "-2147483649"};
        std::vector<std::string> bodies = {"",
                                           "{",
                                           "]",
                                           "\"",
                                           "nul",
                                           std::string("{\0}", 3),
                                           "\xff\xfe",
                                           "[5]",
                                           "[[[]]]",
                                           "7",
                                           Repeat("[", 5000),
                                           Repeat("[", 5000) + Repeat("]", 5000),
                                           Repeat("{\"id\":", 5000) + "1" + Repeat("}", 5000),
                                           "[\"" + std::string(1 << 20, 'x') + "\"]",
                                           "{\"id\": \"" + std::string(1 << 20, 'x') + "\"}",
                                           std::string(1 << 20, ' ')};
        for (const std::string& value : hostile) {
            bodies.push_back(AllMembers(value));
            bodies.push_back("[" + AllMembers(value) + "]");
            bodies.push_back(R"({"id": "x", "action": 8, "cruise": )" + AllMembers(value) + "}");
            bodies.push_back(R"({"id": "x", "action": 0, "contrl": )" + value + "}");
        }
        return bodies;
    }
};

TEST_F(BadInput, EveryCommandIsAnsweredOnce) {
    Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", R"({"id": "s", "beginTime": 1, "endTime": 2})");
    factory.script.remember = false;
    for (const std::string& body : Bodies()) {
        SCOPED_TRACE(body.substr(0, 80));
        for (int id = TV_CMD_DEVICES_ENQUEUE; id <= TV_CMD_SYNC_PLAYBACK_SET_SPEED; ++id) {
            const auto command = static_cast<__enumTvCommand>(id);
            if (command == TV_CMD_SEARCH_DEVICE)
                continue;
            const bool session = id >= TV_CMD_SYNC_PLAYBACK_CREATE;
            const auto answers = AskAll(command, session ? "d-1" : "d", body);
            // The worker of a device test answers when it likes.
            if (command != TV_CMD_DEVICE_TEST) {
                EXPECT_EQ(answers.size(), 1U) << std::hex << id;
            }
        }
    }
    // Still in working order.
    EXPECT_EQ(Ask(TV_CMD_DEVICES_ENQUEUE, "", R"([{"id": "d"}])"), (Answer{1, ""}));
    EXPECT_EQ(Preview().size(), 36U);
}

TEST_F(BadInput, EveryPlayerRequestIsAnswered) {
    factory.uri = "k";
    Ask(TV_CMD_GET_PLAYBACK_URL, "d");
    factory.uri = "live";
    Preview();
    Ask(TV_CMD_SYNC_PLAYBACK_CREATE, "d-1", R"({"id": "s", "beginTime": 1, "endTime": 2})");
    const std::string keys[] = {"",   "k", "live", "d-1",    "d-1--3",
                                "--", "-", "d",    "%s%n%s", std::string(1 << 20, 'k')};
    for (const std::string& body : Bodies()) {
        for (const std::string& key : keys) {
            for (int id = TV_STREAM_PREVIEW_START; id <= TV_STREAM_DOWNLOAD_STOP; ++id) {
                const int result = Request(id, 1, key, body);
                EXPECT_TRUE(result == 0 || result == -1);
            }
        }
        module->OnClose(1, -1, nullptr);
        factory.script.Take();
    }
    Tick();
    EXPECT_EQ(Request(TV_STREAM_PREVIEW_START, 1, "live"), 0);
}

TEST_F(BadInput, HostileKeysOfSources) {
    for (const char* key : {"", "-", "--", "---", "----1", "a--", "a---1",
                            "a--99999999999999999999", "a--b--c", "%s%n"}) {
        EXPECT_EQ(Deliver(key, "unit"), 0);
        KeyFrame(key, "frame");
        EXPECT_EQ(module->QueryDataCountToSend(key), -1);
        EXPECT_EQ(module->MsgCallback(key, "%s%n"), 0);
    }
}

}  // namespace
}  // namespace vms::test
