#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "host/play/PlayCommand.h"
#include "host/play/PlayStatistics.h"
#include "host/play/PlayerLink.h"
#include "host/play/TalkFile.h"
#include "media/mux/UnitSink.h"

namespace vms::host {

/// What a player asks for and when it ends.
struct PlayRequest {
    std::string url;
    LinkTrust trust;
    std::string key;
    int startCommand = 0;                          ///< 0x100200, 0x100202 or 0x10020a; 0 = the URL
                                                   ///< itself names a live stream
    std::string startBody;                         ///< parameters of the start
    std::chrono::steady_clock::duration length{};  ///< 0 = until something else ends it
    int units = 0;                                 ///< media units, 0 = any number
    bool refusalIsFine = false;  ///< a synchronous channel is refused even when it starts
    std::string trace;           ///< file for a line per unit, made with the first; "" = none
    std::string talk;            ///< file to say once media has come, then end; "" = none
    bool readsInput = true;      ///< commands from standard input
};

/// One stream being received: takes events of the connection, lines of standard input and the clock
/// on one thread, until the stream, the player or the limits end it.
class PlaySession {
public:
    /// @param sink null = only count; must outlive this object @throws HostError
    PlaySession(const PlayRequest& request, UnitSink* sink);

    /// @param stopDescriptor readable when the player shall end
    /// @throws HostError when the stream was refused or broke off
    void Run(int stopDescriptor);

    const PlayStatistics& Statistics() const { return statistics_; }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using Clock = std::chrono::steady_clock;

    void TakeEvents();
    void TakeEvent(const LinkEvent& event);
    void TakeUnit(const std::string& unit);
    void Trace(const MediaUnitHeader& header, size_t bytes);
    bool BeginTalk(const std::string& path);
    void TakeInput();
    void Carry(const PlayCommand& command);
    void SendDueTalk();
    int WaitMs() const;

    const PlayRequest request_;
    UnitSink* const sink_;
    PlayStatistics statistics_;
    std::unique_ptr<std::FILE, Closer> trace_;  ///< null before the first unit
    PlayerLink link_;
    const Clock::time_point end_;
    std::string typed_;  ///< an unfinished line
    bool readsInput_;
    std::optional<TalkFile> talk_;
    size_t talked_ = 0;  ///< bytes said
    Clock::time_point nextTalk_;
    bool hasTalked_ = false;  ///< what the request wants said has been begun
    bool done_ = false;
};

}  // namespace vms::host
