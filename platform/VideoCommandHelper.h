#pragma once

#include <list>
#include <map>
#include <string>

#include "module/DeviceRecords.h"
#include "module/RecordSearchRecords.h"
#include "platform/Export.h"

/// Parsers of command bodies and serialisers of result bodies. Stateless, thread-safe, never
/// throws.
///
/// Parsers read JSON strictly, take a member only when it has the expected type, set every output
/// to its default first (CommandParse_Video appends instead) and return whether the body was JSON
/// of the expected shape. A null body is an empty one. Serialisers write styled (indented) JSON.
class VMS_PLATFORM_API VideoCommandHelper {
public:
    /// Devices: an array of them, a single object, or {"devs": [...]}. Entries without a non-empty
    /// string "id" are skipped.
    static bool CommandParse_Video(std::list<__tagTvVideoParam>& devices, const char* body);

    /// [{"id", "channels": [{"channel", "name"}]}] or one such object: device id -> channel ->
    /// name.
    static bool CommandParse_DevName(std::map<std::string, std::map<int, std::string>>& names,
                                     const char* body);

    /// {"id", "channel", "streamNo", "face"}
    static bool CommandParse_GetPreviewUrl(std::string& deviceId, int& channel, int& streamNo,
                                           int& face, const char* body);

    /// {"channel", "beginTime", "endTime", "streamNo", "recordType", "seekTime"}; times in seconds
    /// since the Unix epoch, UTC.
    static bool CommandParse_PlaybackParam(int& channel, int& beginTime, int& endTime,
                                           int& streamNo, int& recordType, int& seekTime,
                                           const char* body);

    /// {"id", "channel", "streamNo", "fileType", "startTime", "endTime"}
    static bool CommandParse_RecordSearch(__tagTvSearchRecordParam& param, const char* body);

    /// {"ip", "port", "uri", "type"}: where a player finds a stream.
    static std::string CommandSerialize_Stream(const char* ip, int port, const char* uri, int type);

    /// {"devs": [{"id", "status": [{"channel", "state"}]}]}; channel -1 is the device itself.
    static std::string CommandSerialize_DevStatus(
        const std::map<std::string, std::map<int, int>>& status);

    /// {"records": [{"index", "fileType", "startTime", "endTime", "fileSize"}]} and, on demand,
    /// their "count".
    static std::string CommandSerialize_RecordSearch_Result(
        const std::list<__tagTvRecordFile>& records, bool withCount);
};
