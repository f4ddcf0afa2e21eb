// Every parser of device answers over the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

using Encode = Tavero_Http_Encode;

void Require(bool holds) {
    if (!holds)
        std::abort();
}

/// @return whether the answer's envelope passed
bool ReadSession(const char* text) {
    std::string challenge, salt, session;
    int iterations = 0;
    bool enable = false;
    const bool passed = Encode::DeSerializeCode(text) == 0;
    Require((Encode::DeSerializeHeartbeat(text) == 0) == passed);
    const bool found = Encode::DeSerializeLoginCapabilities(text, challenge, salt, session,
                                                            iterations, enable) == 0;
    const bool scheme = Encode::DeSerializeCapability(text, salt, iterations, enable) == 0;
    Require(passed || (!found && !scheme && salt.empty() && session.empty()));
    Require(Encode::DeSerializeLogin(text, session) == -1 || passed);
    return passed;
}

void ReadInformation(const char* text, bool passed) {
    std::string osd, version, name;
    Require((Encode::DeSerializeOsdGet(text, osd) == 0) == passed);
    Require(Encode::DeSerializeVersion(text, version, name) == -1 || passed);
    Require(passed || (osd + version + name).empty());
}

void ReadRecords(const char* text, bool passed) {
    for (const auto parse :
         {Encode::DeSerializeSearchRecord_Ipc, Encode::DeSerializeSearchRecord_Nvr}) {
        std::list<__tagTvRecordFile> files(1);
        Require((parse(text, files) == 0) == passed);
        Require(passed || files.empty());
        int index = 0;
        for (const __tagTvRecordFile& file : files)
            Require(file.index == index++);
    }
}

void ReadPermissions(const char* text) {
    for (const auto parse : {Encode::DeSerializePermission, Encode::DeSerializePermissionV2}) {
        __tagTvDevicePermission permission;
        const bool passed = parse(text, permission) == 0;
        for (const int32_t flag : permission.remote)
            Require(flag == 0 || (flag == 1 && passed));
        for (const __tagTvChannelPermission& entry : permission.channels)
            Require(passed && entry.channel >= 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string answer(reinterpret_cast<const char*>(data), size);
    const bool passed = ReadSession(answer.c_str());
    ReadInformation(answer.c_str(), passed);
    ReadRecords(answer.c_str(), passed);
    ReadPermissions(answer.c_str());
    return 0;
}
