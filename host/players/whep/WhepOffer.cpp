#include "host/players/whep/WhepOffer.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "host/players/whep/SdpText.h"

namespace vms::host {
namespace {

constexpr int kHighestPayload = 127;
constexpr size_t kLongestToken = 256;
constexpr size_t kLongestMid = 32;

bool IsHexDigit(char letter) {
    return std::isxdigit(static_cast<unsigned char>(letter)) != 0;
}

bool IsAlphanumeric(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0;
}

/// RFC 8839: letters, digits, "+" and "/".
bool IsIceText(std::string_view text, size_t shortest) {
    return text.size() >= shortest && text.size() <= kLongestToken &&
           std::all_of(text.begin(), text.end(), [](char letter) {
               return IsAlphanumeric(letter) || letter == '+' || letter == '/';
           });
}

/// Part of RFC 8866's token: what names of media, protocols, formats and sections are made of.
bool IsToken(std::string_view text, size_t longest) {
    return !text.empty() && text.size() <= longest &&
           std::all_of(text.begin(), text.end(), [](char letter) {
               return IsAlphanumeric(letter) ||
                      std::string_view("-._+/").find(letter) != std::string_view::npos;
           });
}

/// RFC 8122: a hash's name, a blank, bytes in hexadecimal with colons between.
bool IsFingerprint(std::string_view text) {
    const size_t blank = text.find(' ');
    if (blank == std::string_view::npos || text.size() > kLongestToken ||
        !IsToken(text.substr(0, blank), kLongestMid))
        return false;
    const std::string_view bytes = text.substr(blank + 1);
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 3 == 2 ? bytes[i] != ':' : !IsHexDigit(bytes[i]))
            return false;
    }
    return bytes.size() % 3 == 2;
}

bool IsProfile(std::string_view text) {
    return text.size() == 6 && std::all_of(text.begin(), text.end(), IsHexDigit);
}

bool SameLetters(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    });
}

/// The value of one of "a=1;b=2"; "" = there is none.
std::string_view Parameter(std::string_view list, std::string_view name) {
    while (!list.empty()) {
        const size_t end = std::min(list.find(';'), list.size());
        std::string_view item = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        item.remove_prefix(std::min(item.find_first_not_of(' '), item.size()));
        const size_t equals = item.find('=');
        if (equals != std::string_view::npos && SameLetters(item.substr(0, equals), name))
            return item.substr(equals + 1);
    }
    return {};
}

struct Format {
    std::string_view encoding;    ///< such as "H264/90000"
    std::string_view parameters;  ///< of fmtp
};

/// What a section says of the payload types that it lists, in its order.
class Formats {
public:
    explicit Formats(const SdpSection& section) {
        const auto words = Words(section.lines.front().value);
        for (size_t i = 3; i < words.size(); ++i) {
            const int payload = ReadSmallNumber(words[i], kHighestPayload);
            if (payload >= 0 && formats_.emplace(payload, Format{}).second)
                order_.push_back(payload);
        }
        for (const std::string_view value : section.Attributes("rtpmap"))
            Find(value, [](Format& format, std::string_view rest) { format.encoding = rest; });
        for (const std::string_view value : section.Attributes("fmtp"))
            Find(value, [](Format& format, std::string_view rest) { format.parameters = rest; });
    }

    const std::vector<int>& Order() const { return order_; }
    const Format& At(int payload) const { return formats_.at(payload); }

    /// @param fixed the payload type that means this without being called so, -1 = none
    int PayloadOf(std::string_view encoding, int fixed) const {
        for (const int payload : order_) {
            const std::string_view name = At(payload).encoding;
            if (SameLetters(name, encoding) || SameLetters(name, std::string(encoding) + "/1") ||
                (payload == fixed && name.empty()))
                return payload;
        }
        return -1;
    }

    int RepairOf(int payload) const {
        for (const int other : order_) {
            if (SameLetters(At(other).encoding, "rtx/90000") &&
                ReadSmallNumber(Parameter(At(other).parameters, "apt"), kHighestPayload) == payload)
                return other;
        }
        return -1;
    }

private:
    template <class Use>
    void Find(std::string_view value, Use use) {
        const size_t blank = std::min(value.find(' '), value.size());
        const auto format = formats_.find(ReadSmallNumber(value.substr(0, blank), kHighestPayload));
        if (format != formats_.end())
            use(format->second, value.substr(std::min(blank + 1, value.size())));
    }

    std::map<int, Format> formats_;
    std::vector<int> order_;
};

/// One pass over an offer.
class OfferReading {
public:
    OfferReading(const std::vector<SdpSection>& sections, WhepOffer& offer)
        : sections_(sections), offer_(offer) {}

    WhepProblem Read() {
        if (sections_.size() < 2)
            return {400, "the offer has no section of media"};
        if (sections_.size() - 1 > kMostSections)
            return {400, "the offer has too many sections"};
        for (size_t i = 1; i < sections_.size(); ++i) {
            if (!ReadSection(sections_[i]))
                return {400, "a section of the offer cannot be understood"};
        }
        MarkBundled();
        PickVideo();
        if (offer_.video < 0)
            return {406, "the offer has no section in which to receive video"};
        if (offer_.videos.empty())
            return {406, "the offer takes no H.264 in packetization mode 1"};
        PickAudio();
        return ReadTransport();
    }

private:
    bool ReadSection(const SdpSection& section) {
        const auto words = Words(section.lines.front().value);
        if (words.size() < 4)
            return false;
        for (const size_t i : {0, 2, 3}) {
            if (!IsToken(words[i], kLongestToken))
                return false;
        }
        std::string_view mid;
        if (section.Attribute("mid", mid) && !IsToken(mid, kLongestMid))
            return false;
        const int port = ReadSmallNumber(words[1], 65535);
        if (port < 0)
            return false;
        offer_.sections.push_back({std::string(words[0]), std::string(words[2]),
                                   std::string(words[3]), std::string(mid),
                                   port == 0 && !section.HasAttribute("bundle-only"), false});
        return true;
    }

    /// Those that the first group of the kind names.
    void MarkBundled() {
        for (const std::string_view group : sections_.front().Attributes("group")) {
            const auto words = Words(group);
            if (words.empty() || words.front() != "BUNDLE")
                continue;
            for (WhepOffer::Section& section : offer_.sections)
                section.isBundled =
                    !section.mid.empty() &&
                    std::find(words.begin() + 1, words.end(), section.mid) != words.end();
            return;
        }
    }

    bool CanReceive(size_t index, std::string_view media) const {
        const SdpSection& section = sections_[index + 1];
        const WhepOffer::Section& read = offer_.sections[index];
        return read.media == media && !read.isRefused && !read.mid.empty() &&
               read.protocol == "UDP/TLS/RTP/SAVPF" && section.HasAttribute("rtcp-mux") &&
               !section.HasAttribute("sendonly") && !section.HasAttribute("inactive");
    }

    void PickVideo() {
        for (size_t i = 0; i < offer_.sections.size() && offer_.videos.empty(); ++i) {
            if (!CanReceive(i, "video"))
                continue;
            offer_.video = static_cast<int>(i);
            const Formats formats(sections_[i + 1]);
            for (const int payload : formats.Order())
                AddVideo(formats, payload);
        }
    }

    void AddVideo(const Formats& formats, int payload) {
        const Format& format = formats.At(payload);
        const std::string_view profile = Parameter(format.parameters, "profile-level-id");
        if (SameLetters(format.encoding, "H264/90000") && IsProfile(profile) &&
            Parameter(format.parameters, "packetization-mode") == "1")
            offer_.videos.push_back({payload, std::string(profile), formats.RepairOf(payload)});
    }

    /// Sound shares the video's transport, or there is none.
    void PickAudio() {
        for (size_t i = 0; i < offer_.sections.size(); ++i) {
            if (offer_.audio >= 0 || !CanReceive(i, "audio") || !offer_.sections[i].isBundled ||
                !offer_.sections[static_cast<size_t>(offer_.video)].isBundled)
                continue;
            const Formats formats(sections_[i + 1]);
            offer_.aLaw = formats.PayloadOf("PCMA/8000", 8);
            offer_.muLaw = formats.PayloadOf("PCMU/8000", 0);
            if (offer_.aLaw >= 0 || offer_.muLaw >= 0)
                offer_.audio = static_cast<int>(i);
        }
    }

    /// Where the transport is described: in the first section of those that share it.
    const SdpSection& TransportSection() const {
        const auto video = static_cast<size_t>(offer_.video);
        for (size_t i = 0; i < offer_.sections.size(); ++i) {
            if (offer_.sections[video].isBundled && offer_.sections[i].isBundled &&
                sections_[i + 1].HasAttribute("ice-ufrag"))
                return sections_[i + 1];
        }
        return sections_[video + 1];
    }

    WhepProblem ReadTransport() {
        std::string_view user;
        std::string_view password;
        std::string_view fingerprint;
        std::string_view setup = "actpass";
        const SdpSection& section = TransportSection();
        for (const SdpSection* place : {&sections_.front(), &section}) {
            place->Attribute("ice-ufrag", user);
            place->Attribute("ice-pwd", password);
            place->Attribute("fingerprint", fingerprint);
            place->Attribute("setup", setup);
        }
        if (!IsIceText(user, 4) || !IsIceText(password, 22))
            return {400, "the offer has no ICE user name and password"};
        if (!IsFingerprint(fingerprint))
            return {400, "the offer has no fingerprint of a certificate"};
        if (setup != "actpass" && setup != "passive" && setup != "active")
            return {400, "the offer does not say who begins with DTLS"};
        offer_.iceUser = user;
        offer_.icePassword = password;
        offer_.fingerprint = fingerprint;
        offer_.setup = setup;
        return {};
    }

    const std::vector<SdpSection>& sections_;
    WhepOffer& offer_;
};

}  // namespace

WhepProblem ReadWhepOffer(std::string_view text, WhepOffer& offer) {
    std::vector<SdpSection> sections;
    if (!ReadSdp(text, sections))
        return {400, "the offer is no SDP"};
    return OfferReading(sections, offer).Read();
}

WhepChoice ChooseFrom(const WhepOffer& offer, int profile, WhepSound sound) {
    WhepChoice choice;
    const auto hasProfile = [profile](const WhepOffer::Video& video) {
        return std::stoi(video.profile.substr(0, 2), nullptr, 16) == profile;
    };
    const auto best = std::find_if(offer.videos.begin(), offer.videos.end(), hasProfile);
    choice.video = best == offer.videos.end() ? offer.videos.front() : *best;
    if (offer.audio >= 0 && sound != WhepSound::kNone) {
        choice.isMuLaw = sound == WhepSound::kMuLaw;
        choice.audioPayload = choice.isMuLaw ? offer.muLaw : offer.aLaw;
    }
    return choice;
}

}  // namespace vms::host
