// What a browser offers, and pictures on their way to one. The first byte says which: "p" = a
// picture, all else an offer. What is passed on of an offer is read again the same, and whatever is
// answered to it, no line but its own comes of it.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/players/whep/SdpText.h"
#include "host/players/whep/WhepOffer.h"
#include "host/players/whep/WhepProbe.h"
#include "host/players/whep/plugin/RtpPayloads.h"

namespace {

using namespace vms::host;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

void CheckPicture(std::string_view picture) {
    std::vector<vms::whep::RtpPayload> payloads;
    size_t bytes = 0;
    if (vms::whep::SplitH264(picture, payloads)) {
        Require(!payloads.empty() && payloads.size() <= vms::whep::kMostPackets);
        for (const auto& payload : payloads) {
            Require(payload.Size() > 0 && payload.Size() <= vms::whep::kMostPayload);
            bytes += payload.body.size();
        }
    }
    Require(bytes <= picture.size());
    Require(H264Profile(picture) <= 255);
}

void CheckOffer(std::string_view text) {
    WhepOffer offer;
    if (ReadWhepOffer(text, offer).status != 0)
        return;
    for (const WhepSound sound : {WhepSound::kNone, WhepSound::kALaw, WhepSound::kMuLaw}) {
        const WhepChoice choice = ChooseFrom(offer, 0x64, sound);
        const std::string narrow = NarrowOffer(offer, choice);
        WhepOffer again;
        Require(ReadWhepOffer(narrow, again).status == 0);
        Require(again.videos.size() == 1 && again.videos[0].payload == choice.video.payload);
        Require(again.iceUser == offer.iceUser && again.fingerprint == offer.fingerprint);
        std::vector<SdpSection> answer;
        const std::string whole = WidenAnswer(offer, choice, narrow);
        Require(whole.empty() ||
                (ReadSdp(whole, answer) && answer.size() == offer.sections.size() + 1));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > kLongestOffer)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] == 'p')
        CheckPicture(bytes);
    else
        CheckOffer(bytes);
    return 0;
}
