#pragma once

#include <cstdint>
#include <string>

/// Command identifiers on the bus. 0x1001xx: host to module; 0x1002xx: player to module through the
/// stream server, and module to player (TV_CMD_SOURCE_MESSAGE); TV_CMD_DEVICE_STATUS: module to
/// host.
enum __enumTvCommand : int32_t {
    TV_CMD_DEVICE_STATUS = 0x10000c,

    TV_CMD_DEVICES_ENQUEUE = 0x100100,
    TV_CMD_DEVICES_DEQUEUE = 0x100101,
    TV_CMD_SEARCH_RECORD = 0x100102,
    TV_CMD_GET_PREVIEW_URL = 0x100103,
    TV_CMD_GET_PLAYBACK_URL = 0x100104,
    TV_CMD_GET_RECORD_DOWNLOAD_URL = 0x100105,
    TV_CMD_DEVICE_TEST = 0x100106,
    TV_CMD_GET_DEV_SESSION_ID = 0x100107,
    TV_CMD_SET_CHANNEL_NAME = 0x100108,
    TV_CMD_PTZ_CONTROL = 0x100109,
    TV_CMD_GET_CAPABILITY = 0x10010a,
    TV_CMD_QUERY_RECORD_DATE = 0x10010b,
    TV_CMD_SEARCH_DEVICE = 0x10010c,
    TV_CMD_DEV_TIMING = 0x10010d,
    TV_CMD_GET_CONNECT_TYPE = 0x10010e,
    TV_CMD_GET_DEVICE_PERMISSION = 0x10010f,
    TV_CMD_GET_DEVICE_TIME = 0x100110,
    TV_CMD_TRANSMISSION = 0x100111,
    TV_CMD_SYNC_PLAYBACK_CREATE = 0x100112,
    TV_CMD_SYNC_PLAYBACK_DESTROY = 0x100113,
    TV_CMD_SYNC_PLAYBACK_CHANNEL_ADD = 0x100114,
    TV_CMD_SYNC_PLAYBACK_CHANNEL_DEL = 0x100115,
    TV_CMD_SYNC_PLAYBACK_START = 0x100116,
    TV_CMD_SYNC_PLAYBACK_STOP = 0x100117,
    TV_CMD_SYNC_PLAYBACK_PAUSE = 0x100118,
    TV_CMD_SYNC_PLAYBACK_RESUME = 0x100119,
    TV_CMD_SYNC_PLAYBACK_SEEK = 0x10011a,
    TV_CMD_SYNC_PLAYBACK_SET_SPEED = 0x10011b,

    TV_STREAM_PREVIEW_START = 0x100200,
    TV_STREAM_PREVIEW_STOP = 0x100201,
    TV_STREAM_PLAYBACK_START = 0x100202,
    TV_STREAM_PLAYBACK_STOP = 0x100203,
    TV_STREAM_PLAYBACK_PAUSE = 0x100204,
    TV_STREAM_PLAYBACK_RESUME = 0x100205,
    TV_STREAM_PLAYBACK_SPEED = 0x100206,
    TV_STREAM_PLAYBACK_SEEK = 0x100207,
    TV_STREAM_TALK_START = 0x100208,
    TV_STREAM_TALK_STOP = 0x100209,
    TV_STREAM_DOWNLOAD_START = 0x10020a,
    TV_STREAM_DOWNLOAD_STOP = 0x10020b,

    TV_CMD_SOURCE_MESSAGE = 0x100290,
};

/// The one record for requests, responses and notifications. A value: copies are independent.
/// Created and freed with SysCommandHelper where a pointer is passed around.
struct __tagTvCommand {
    std::string source;    ///< who created the request (module or host name)
    std::string target;    ///< addressed module, may be empty
    std::string session;   ///< carried unchanged
    std::string deviceId;  ///< addressed device; the stream or session key in player requests
    int64_t serial = 0;    ///< (sequence << 32) | command identifier; matches response to request
    std::string body;      ///< request: JSON or text; response: result JSON or message text
    int32_t result = 0;    ///< response: 1 success, -1 failure; request: 0
};
