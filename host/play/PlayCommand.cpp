#include "host/play/PlayCommand.h"

#include <map>

namespace vms::host {
namespace {

struct Spelling {
    PlayCommand::Kind kind;
    bool takesArgument;
};

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::optional<PlayCommand> ParsePlayCommand(const std::string& line) {
    using Kind = PlayCommand::Kind;
    static const std::map<std::string, Spelling> kSpellings{
        {"pause", {Kind::kPause, false}}, {"resume", {Kind::kResume, false}},
        {"speed", {Kind::kSpeed, true}},  {"seek", {Kind::kSeek, true}},
        {"talk", {Kind::kTalk, true}},    {"hush", {Kind::kHush, false}},
        {"quit", {Kind::kQuit, false}}};
    const std::string text = Trimmed(line);
    const size_t blank = text.find_first_of(" \t");
    const auto found = kSpellings.find(text.substr(0, blank));
    if (found == kSpellings.end())
        return std::nullopt;
    const std::string argument = blank == std::string::npos ? "" : Trimmed(text.substr(blank));
    if (argument.empty() == found->second.takesArgument)
        return std::nullopt;
    return PlayCommand{found->second.kind, argument};
}

}  // namespace vms::host
