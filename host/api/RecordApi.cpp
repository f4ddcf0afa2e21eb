#include "host/api/RecordApi.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/text/IsoTime.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kPage = 1000;
constexpr int kMostPerPage = 10'000;
constexpr int kMostStreams = 8;
/// What a module may answer with: 100,000 recordings have seven tenths of that.
constexpr size_t kMostValues = 1'000'000;

struct TypeName {
    int mask;
    const char* name;
};
constexpr std::array kTypes = {TypeName{1, "schedule"}, TypeName{2, "motion"},
                               TypeName{16, "alarm"}};

/// "motion", "motion,alarm" or "all".
int TypeMask(const ApiFields& query) {
    const std::string wanted = query.TextOr("type", "all");
    if (wanted == "all")
        return 0;
    int mask = 0;
    for (size_t at = 0; at <= wanted.size();) {
        const size_t end = std::min(wanted.find(',', at), wanted.size());
        const std::string_view word = std::string_view(wanted).substr(at, end - at);
        int found = 0;
        for (const TypeName& type : kTypes)
            found |= word == type.name ? type.mask : 0;
        if (found == 0)
            query.Fail("type", "expected schedule, motion, alarm or all");
        mask |= found;
        at = end + 1;
    }
    return mask;
}

Json::Value TypeNames(int mask) {
    Json::Value names(Json::arrayValue);
    for (const TypeName& type : kTypes) {
        if ((mask & type.mask) != 0)
            names.append(type.name);
    }
    return names;
}

Json::Value RecordText(const Json::Value& record) {
    int begin = 0;
    int end = 0;
    int type = 0;
    int size = 0;
    ReadInt(record, "startTime", begin);
    ReadInt(record, "endTime", end);
    ReadInt(record, "fileType", type);
    ReadInt(record, "fileSize", size);
    Json::Value text(Json::objectValue);
    text["from"] = IsoTime(begin);
    text["to"] = IsoTime(end);
    text["types"] = TypeNames(type);
    text["bytes"] = size;
    return text;
}

struct Page {
    Json::ArrayIndex offset;
    Json::ArrayIndex limit;
};

HttpResponse RecordsAnswer(const std::string& body, const Page& page) {
    Json::Value told;
    if (MostJsonValues(body) > kMostValues || !ParseJson(body.c_str(), told) ||
        !Member(told, "records").isArray())
        throw ApiError(502, "the module's answer makes no sense");
    const Json::Value& records = told["records"];
    Json::Value text(Json::objectValue);
    text["total"] = records.size();
    text["records"] = Json::Value(Json::arrayValue);
    Json::ArrayIndex i = page.offset;
    for (; i < records.size() && i - page.offset < page.limit; ++i)
        text["records"].append(RecordText(records[i]));
    if (i < records.size())
        text["next"] = i;
    return JsonAnswer(text);
}

/// Devices differ in whether the end of a range belongs to it: only days of the month count.
HttpResponse DaysAnswer(const std::string& body, const std::string& month) {
    Json::Value told;
    if (MostJsonValues(body) > kMostValues || !ParseJson(body.c_str(), told) || !told.isArray())
        throw ApiError(502, "the module's answer makes no sense");
    Json::Value text(Json::objectValue);
    text["days"] = Json::Value(Json::arrayValue);
    for (const Json::Value& day : told) {
        if (!day.isInt() || day.asInt() < 19700101 || day.asInt() > 99991231)
            continue;
        char date[32];
        std::snprintf(date, sizeof date, "%04d-%02d-%02d", day.asInt() / 10000,
                      day.asInt() / 100 % 100, day.asInt() % 100);
        if (std::string_view(date).substr(0, month.size()) == month)
            text["days"].append(date);
    }
    return JsonAnswer(text);
}

}  // namespace

void RecordApi::AddTo(HttpRouter& router) {
    router.Add("GET", "/api/records", Answering([this](const auto& request, const auto& reply) {
                   Search(request, reply);
               }));
    router.Add("GET", "/api/record-days",
               Answering([this](const auto& request, const auto& reply) { Days(request, reply); }));
}

void RecordApi::Search(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    const std::string device = query.Device();
    const int64_t from = query.Time("from");
    const int64_t to = query.Time("to");
    if (to <= from)
        query.Fail("to", "must lie behind \"from\"");
    const Page page{
        static_cast<Json::ArrayIndex>(query.IntegerOr("offset", 0, 0, INT32_MAX)),
        static_cast<Json::ArrayIndex>(query.IntegerOr("limit", kPage, 1, kMostPerPage))};
    Json::Value search(Json::objectValue);
    search["id"] = device;
    search["channel"] = query.Channel();
    search["streamNo"] = query.IntegerOr("stream", 0, 0, kMostStreams - 1);
    search["fileType"] = TypeMask(query);
    search["startTime"] = static_cast<Json::Int64>(from);
    search["endTime"] = static_cast<Json::Int64>(to);
    asker_.Ask(
        {device, TV_CMD_SEARCH_RECORD, CompactJson(search), "the recordings could not be searched"},
        reply, [page](const std::string& body) { return RecordsAnswer(body, page); });
}

void RecordApi::Days(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    const std::string device = query.Device();
    const auto month = ParseMonth(query.Text("month"));
    if (!month)
        query.Fail("month", "expected a month such as 2026-03");
    Json::Value search(Json::objectValue);
    search["channel"] = query.Channel();
    search["streamNo"] = query.IntegerOr("stream", 0, 0, kMostStreams - 1);
    search["fileType"] = TypeMask(query);
    search["startTime"] = static_cast<Json::Int64>(month->begin);
    search["endTime"] = static_cast<Json::Int64>(month->end);
    asker_.Ask({device, TV_CMD_QUERY_RECORD_DATE, CompactJson(search),
                "the days of recordings could not be searched"},
               reply, [name = IsoTime(month->begin).substr(0, 7)](const std::string& body) {
                   return DaysAnswer(body, name);
               });
}

}  // namespace vms::host
