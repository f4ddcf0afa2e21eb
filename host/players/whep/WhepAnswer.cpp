// What goes to the WebRTC library, and what comes back from it.
#include <algorithm>

#include "host/players/whep/SdpText.h"
#include "host/players/whep/WhepOffer.h"

namespace vms::host {
namespace {

constexpr char kEnd[] = "\r\n";

void AddLine(std::string& text, const std::string& line) {
    text += line + kEnd;
}

const WhepOffer::Section& SectionAt(const WhepOffer& offer, int index) {
    return offer.sections[static_cast<size_t>(index)];
}

void AddTransport(std::string& text, const WhepOffer& offer, const std::string& mid) {
    AddLine(text, "c=IN IP4 0.0.0.0");
    AddLine(text, "a=mid:" + mid);
    AddLine(text, "a=recvonly");
    AddLine(text, "a=rtcp-mux");
    AddLine(text, "a=rtcp-rsize");
    AddLine(text, "a=ice-ufrag:" + offer.iceUser);
    AddLine(text, "a=ice-pwd:" + offer.icePassword);
    AddLine(text, "a=ice-options:trickle");
    AddLine(text, "a=fingerprint:" + offer.fingerprint);
    AddLine(text, "a=setup:" + offer.setup);
}

void AddVideo(std::string& text, const WhepOffer& offer, const WhepOffer::Video& video) {
    const std::string payload = std::to_string(video.payload);
    const std::string repair = std::to_string(video.repair);
    AddLine(text,
            "m=video 9 UDP/TLS/RTP/SAVPF " + payload + (video.repair < 0 ? "" : " " + repair));
    AddTransport(text, offer, SectionAt(offer, offer.video).mid);
    AddLine(text, "a=rtpmap:" + payload + " H264/90000");
    AddLine(text, "a=rtcp-fb:" + payload + " nack");
    AddLine(text, "a=rtcp-fb:" + payload + " nack pli");
    AddLine(text, "a=fmtp:" + payload + " packetization-mode=1;profile-level-id=" + video.profile);
    if (video.repair >= 0) {
        AddLine(text, "a=rtpmap:" + repair + " rtx/90000");
        AddLine(text, "a=fmtp:" + repair + " apt=" + payload);
    }
}

void AddAudio(std::string& text, const WhepOffer& offer, const WhepChoice& choice) {
    const std::string payload = std::to_string(choice.audioPayload);
    AddLine(text, "m=audio 9 UDP/TLS/RTP/SAVPF " + payload);
    AddTransport(text, offer, SectionAt(offer, offer.audio).mid);
    AddLine(text, "a=rtpmap:" + payload + (choice.isMuLaw ? " PCMU/8000" : " PCMA/8000"));
}

/// "BUNDLE a b" of the sections that have been chosen, in the order of the offer.
std::string Group(const WhepOffer& offer, const WhepChoice& choice) {
    std::string group = "BUNDLE";
    for (size_t i = 0; i < offer.sections.size(); ++i) {
        const int index = static_cast<int>(i);
        if (index == offer.video || (index == offer.audio && choice.audioPayload >= 0))
            group += " " + offer.sections[i].mid;
    }
    return group;
}

bool IsRefused(const SdpSection& section) {
    const auto words = Words(section.lines.front().value);
    return words.size() < 4 || words[1] == "0" || section.HasAttribute("inactive");
}

void AddSection(std::string& text, const SdpSection& section) {
    for (const SdpLine& line : section.lines)
        AddLine(text, std::string(1, line.type) + "=" + std::string(line.value));
}

void AddRefusal(std::string& text, const WhepOffer::Section& section) {
    AddLine(text, "m=" + section.media + " 0 " + section.protocol + " " + section.format);
    AddLine(text, "c=IN IP4 0.0.0.0");
    if (!section.mid.empty())
        AddLine(text, "a=mid:" + section.mid);
    AddLine(text, "a=inactive");
}

}  // namespace

std::string NarrowOffer(const WhepOffer& offer, const WhepChoice& choice) {
    std::string text;
    for (const char* line : {"v=0", "o=- 1 1 IN IP4 0.0.0.0", "s=-", "t=0 0"})
        AddLine(text, line);
    const bool hasAudio = choice.audioPayload >= 0;
    AddLine(text, "a=group:BUNDLE " + SectionAt(offer, offer.video).mid +
                      (hasAudio ? " " + SectionAt(offer, offer.audio).mid : ""));
    AddVideo(text, offer, choice.video);
    if (hasAudio)
        AddAudio(text, offer, choice);
    return text;
}

std::string WidenAnswer(const WhepOffer& offer, const WhepChoice& choice,
                        const std::string& answer) {
    std::vector<SdpSection> sections;
    const bool hasAudio = choice.audioPayload >= 0;
    if (!ReadSdp(answer, sections) || sections.size() != (hasAudio ? 3 : 2) ||
        IsRefused(sections[1]))
        return "";
    std::string text;
    const bool isBundled = SectionAt(offer, offer.video).isBundled;
    for (const SdpLine& line : sections.front().lines) {
        const bool isGroup = line.type == 'a' && line.value.substr(0, 6) == "group:";
        if (!isGroup)
            AddLine(text, std::string(1, line.type) + "=" + std::string(line.value));
        else if (isBundled)
            AddLine(text, "a=group:" + Group(offer, choice));
    }
    for (size_t i = 0; i < offer.sections.size(); ++i) {
        const int index = static_cast<int>(i);
        if (index == offer.video)
            AddSection(text, sections[1]);
        else if (index == offer.audio && hasAudio)
            AddSection(text, sections[2]);
        else
            AddRefusal(text, offer.sections[i]);
    }
    return text;
}

}  // namespace vms::host
