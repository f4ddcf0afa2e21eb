// Answers to a record search. Cameras and recorders differ in where the list is and in the type of
// a size.
#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/DeviceAnswer.h"

namespace {

using vms::JsonTree;
using vms::MemberOf;
using vms::ParseAnswer;
using vms::TakeDecimal;
using vms::TakeNumber;

/// Reads one member as its form has it.
using TakeSize = bool (*)(const cJSON* object, const char* key, int& out);

__tagTvRecordFile ReadRecord(const cJSON* item, TakeSize takeSize) {
    __tagTvRecordFile file;
    TakeNumber(item, "fileType", file.fileType);
    TakeDecimal(item, "startTime", file.startTime);
    TakeDecimal(item, "endTime", file.endTime);
    takeSize(item, "fileSize", file.fileSize);
    return file;
}

void ReadRecords(const cJSON* items, TakeSize takeSize, std::list<__tagTvRecordFile>& files) {
    if (!cJSON_IsArray(items))
        return;
    int index = 0;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, items) {
        if (!cJSON_IsObject(item))
            continue;
        files.push_back(ReadRecord(item, takeSize));
        files.back().index = index++;
    }
}

}  // namespace

int Tavero_Http_Encode::DeSerializeSearchRecord_Ipc(const char* text,
                                                    std::list<__tagTvRecordFile>& files) {
    files.clear();
    const JsonTree answer = ParseAnswer(text);
    ReadRecords(MemberOf(answer.get(), "data"), TakeDecimal, files);
    return answer != nullptr ? 0 : -1;
}

int Tavero_Http_Encode::DeSerializeSearchRecord_Nvr(const char* text,
                                                    std::list<__tagTvRecordFile>& files) {
    files.clear();
    const JsonTree answer = ParseAnswer(text);
    ReadRecords(MemberOf(MemberOf(answer.get(), "data"), "itemList"), TakeNumber, files);
    return answer != nullptr ? 0 : -1;
}
