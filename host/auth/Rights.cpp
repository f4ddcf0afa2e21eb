#include "host/auth/Rights.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "module/CommandRecord.h"

namespace vms::host {
namespace {

constexpr std::string_view kAny = "*";

struct Right {
    std::string_view method;
    std::string_view path;  ///< and everything below it
    Role role;
};

/// The first line that fits counts.
constexpr std::array kRights{
    Right{"GET", "/healthz", Role::kNone},         Right{"POST", "/api/session", Role::kNone},
    Right{kAny, "/api/session", Role::kViewer},

    Right{"GET", "/live", Role::kViewer},          Right{"GET", "/play", Role::kViewer},
    Right{"GET", "/download", Role::kViewer},      Right{"GET", "/stream", Role::kViewer},
    Right{kAny, "/whep", Role::kViewer},

    Right{"GET", "/metrics", Role::kViewer},       Right{"GET", "/api/host", Role::kViewer},
    Right{"GET", "/api/devices", Role::kViewer},   Right{"GET", "/api/status", Role::kViewer},
    Right{"GET", "/api/records", Role::kViewer},   Right{"GET", "/api/record-days", Role::kViewer},
    Right{"GET", "/api/events", Role::kViewer},    Right{"GET", "/api/presets", Role::kViewer},
    Right{"GET", "/api/cruises", Role::kViewer},

    Right{"GET", "/api/streams", Role::kOperator}, Right{kAny, "/api/ptz", Role::kOperator},
    Right{kAny, "/api/presets", Role::kOperator},  Right{kAny, "/api/cruises", Role::kOperator},
    Right{kAny, "/api/talk", Role::kOperator},     Right{"POST", "/api/sign", Role::kOperator},
};

/// Whether the path is the right's or below it; by segments, so that an encoded "/" is none.
bool Covers(std::string_view path, const std::vector<std::string>& segments) {
    for (const std::string& segment : segments) {
        if (path.empty())
            return true;
        path.remove_prefix(1);  // "/"
        const std::string_view own = path.substr(0, path.find('/'));
        if (own != segment)
            return false;
        path.remove_prefix(own.size());
    }
    return path.empty();
}

}  // namespace

Role NeededRole(const HttpRequest& request) {
    const auto right = std::find_if(kRights.begin(), kRights.end(), [&request](const Right& one) {
        return (one.method == kAny || one.method == request.method) &&
               Covers(one.path, request.segments);
    });
    return right == kRights.end() ? Role::kAdmin : right->role;
}

Role NeededRoleOfCommand(int command) {
    switch (command) {
        case TV_STREAM_PREVIEW_START:
        case TV_STREAM_PREVIEW_STOP:
        case TV_STREAM_PLAYBACK_START:
        case TV_STREAM_PLAYBACK_STOP:
        case TV_STREAM_PLAYBACK_PAUSE:
        case TV_STREAM_PLAYBACK_RESUME:
        case TV_STREAM_PLAYBACK_SPEED:
        case TV_STREAM_PLAYBACK_SEEK:
        case TV_STREAM_DOWNLOAD_START:
        case TV_STREAM_DOWNLOAD_STOP:
            return Role::kViewer;
        case TV_STREAM_TALK_START:
        case TV_STREAM_TALK_STOP:
            return Role::kOperator;
        default:
            return Role::kAdmin;
    }
}

}  // namespace vms::host
