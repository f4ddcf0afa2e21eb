#include "videodevice/core/RecordSearch.h"

#include "platform/Json.h"
#include "platform/VideoCommandHelper.h"
#include "videodevice/core/Response.h"

namespace vms {
namespace {

bool ReadDateQuery(const std::string& body, __tagTvRecordDate& query) {
    Json::Value root;
    if (!ParseJson(body.c_str(), root))
        return false;
    ReadInt(root, "channel", query.channel);
    ReadInt(root, "streamNo", query.streamNo);
    ReadInt(root, "fileType", query.fileType);
    ReadInt(root, "startTime", query.startTime);
    ReadInt(root, "endTime", query.endTime);
    return true;
}

std::string Styled(const std::list<int>& dates) {
    Json::Value answer(Json::arrayValue);
    for (const int date : dates)
        answer.append(date);
    return answer.toStyledString();
}

}  // namespace

void RecordSearch::SearchRecord(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "search recored error", [&](__tagTvCommand& response) {
        __tagTvSearchRecordParam param;
        std::list<__tagTvRecordFile> files;
        VideoCommandHelper::CommandParse_RecordSearch(param, command->body.c_str());
        const auto device = devices_.Find(command->deviceId);
        if (device != nullptr && device->SearchRecord(&param, &files) >= 0)
            Succeed(response,
                    VideoCommandHelper::CommandSerialize_RecordSearch_Result(files, false));
    });
}

void RecordSearch::QueryRecordDate(const __tagTvCommand* command) {
    AnswerRequest(context_.bus, command, "", [&](__tagTvCommand& response) {
        __tagTvRecordDate query;
        std::list<int> dates;
        const auto device = devices_.Find(command->deviceId);
        if (device != nullptr && ReadDateQuery(command->body, query) &&
            device->QueryRecordDate(&query, &dates) == 0)
            Succeed(response, Styled(dates));
    });
}

}  // namespace vms
