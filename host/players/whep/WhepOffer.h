#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vms::host {

/// Why an offer is refused.
struct WhepProblem {
    int status = 0;    ///< as HTTP counts: 400 or 406; 0 = there is none
    std::string text;  ///< a sentence without its full stop
};

/// A browser's offer, as far as it matters: from untrusted text, every value of a known form.
struct WhepOffer {
    struct Section {
        std::string media;     ///< such as "video"
        std::string protocol;  ///< such as "UDP/TLS/RTP/SAVPF"
        std::string format;    ///< the first one
        std::string mid;
        bool isRefused = false;  ///< by the browser itself
        bool isBundled = false;  ///< shares the transport
    };

    /// A way of sending H.264 that the browser takes.
    struct Video {
        int payload = 0;      ///< payload type
        std::string profile;  ///< profile-level-id, six hexadecimal digits
        int repair = -1;      ///< payload type of what is sent again, -1 = none
    };

    std::vector<Section> sections;  ///< as they came
    int video = -1;                 ///< index of the section that is used
    int audio = -1;                 ///< the same; -1 = none can be
    std::vector<Video> videos;      ///< in the browser's order, at least one
    int aLaw = -1;                  ///< payload type, -1 = the browser takes none
    int muLaw = -1;                 ///< the same
    // Of the transport that they share:
    std::string iceUser;
    std::string icePassword;
    std::string fingerprint;  ///< such as "sha-256 AB:CD:..."
    std::string setup;        ///< "actpass", "active" or "passive"
};

/// What of an offer is used for a stream.
struct WhepChoice {
    WhepOffer::Video video;
    int audioPayload = -1;  ///< -1 = without sound
    bool isMuLaw = false;   ///< else A-law
};

enum class WhepSound { kNone, kALaw, kMuLaw };

/// Longest offer, bytes.
inline constexpr size_t kLongestOffer = size_t{64} << 10;

/// As many sections.
inline constexpr size_t kMostSections = 16;

/// Reads an offer. Re-entrant. @param text at most kLongestOffer bytes
WhepProblem ReadWhepOffer(std::string_view text, WhepOffer& offer);

/// @param profile first byte of the stream's profile-level-id, which the choice should have, too
WhepChoice ChooseFrom(const WhepOffer& offer, int profile, WhepSound sound);

/// The offer of what has been chosen and of nothing else, the section of video first, without
/// candidates: addresses that strangers name are not talked to, they come to us. Re-entrant.
std::string NarrowOffer(const WhepOffer& offer, const WhepChoice& choice);

/// The answer to the whole offer, from the one to the narrow offer: what has not been chosen is
/// refused. Re-entrant. @return "" when `answer` does not fit, or refuses the video
std::string WidenAnswer(const WhepOffer& offer, const WhepChoice& choice,
                        const std::string& answer);

}  // namespace vms::host
