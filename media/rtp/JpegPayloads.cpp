#include "media/rtp/JpegPayloads.h"

#include "media/MediaError.h"
#include "media/rtp/JpegRewriter.h"
#include "platform/ByteFields.h"

// A JPEG's head is a row of segments: 0xff, marker, two bytes of length that count themselves. Of
// the frame segment (baseline: 0xc0), behind those:
//
//   0  bits of a sample | 1 height (2) | 3 width (2) | 5 components
//   6  for each: number, sampling (across * 16 + down), quantization table

namespace vms {
namespace {

constexpr uint8_t kImage = 0xd8;
constexpr uint8_t kBaseline = 0xc0;
constexpr uint8_t kHuffman = 0xc4;
constexpr uint8_t kLastFrame = 0xcf;
constexpr uint8_t kRestart = 0xdd;
constexpr uint8_t kScan = 0xda;
constexpr size_t kFrameBytes = 15;
constexpr int kMostPixels = 2040;

/// Counts what comes of a picture.
class Counter final : public RtpPayloadSink {
public:
    void Take(std::string_view, bool, uint32_t) override { ++payloads; }
    int payloads = 0;
};

uint8_t ByteAt(std::string_view bytes, size_t at) {
    return static_cast<uint8_t>(bytes[at]);
}

int NumberAt(std::string_view bytes, size_t at) {
    return BigFieldAt<uint16_t>(bytes.data(), at);
}

bool IsFrame(uint8_t marker) {
    // The three in between are tables.
    return marker >= kBaseline && marker <= kLastFrame && marker != kHuffman && marker != 0xc8 &&
           marker != 0xcc;
}

}  // namespace

/// The first picture tells whether all have to be coded anew.
JpegPayloads::JpegPayloads(const MediaUnit& first) {
    std::string problem;
    Counter counter;
    for (const bool rewrites : {false, true}) {
        rewrites_ = rewrites;
        const auto picture = Fitting(first.Payload(), problem);
        if (picture)
            muxer_->Split(*picture, counter);
        if (counter.payloads > 0)
            break;
    }
    if (counter.payloads == 0)
        throw MediaError(problem);
    description_ = muxer_->Description();
}

std::optional<std::string_view> JpegPayloads::Fitting(std::string_view picture,
                                                      std::string& problem) {
    const auto kind = KindOf(picture, problem);
    if (!kind)
        return std::nullopt;
    if (rewrites_) {
        rewritten_ = RewriteJpeg(picture);
        if (rewritten_.empty())
            return std::nullopt;
        picture = rewritten_;
    }
    if (muxer_ == nullptr || *kind != kind_)
        Begin(*kind);
    return picture;
}

std::optional<JpegPayloads::Kind> JpegPayloads::KindOf(std::string_view picture,
                                                       std::string& problem) const {
    std::optional<Kind> kind;
    problem = "a broken JPEG";
    if (picture.size() < 4 || ByteAt(picture, 1) != kImage)
        return std::nullopt;
    for (size_t at = 2; at + 4 <= picture.size();) {
        const uint8_t marker = ByteAt(picture, at + 1);
        const auto length = static_cast<size_t>(NumberAt(picture, at + 2));
        if (ByteAt(picture, at) != 0xff || length < 2 || at + 2 + length > picture.size())
            return std::nullopt;
        const std::string_view body = picture.substr(at + 4, length - 2);
        if (marker == kScan)
            return kind;
        if (marker == kRestart && body.size() >= 2 && NumberAt(body, 0) != 0 && !rewrites_)
            return std::nullopt;
        if (IsFrame(marker)) {
            problem = "RTP carries baseline JPEG in colour up to 2040 pixels only";
            if (marker != kBaseline || body.size() < kFrameBytes || ByteAt(body, 5) != 3)
                return std::nullopt;
            kind = Kind{NumberAt(body, 3), NumberAt(body, 1), ByteAt(body, 7) == 0x22};
            if ((!kind->isHalved && ByteAt(body, 7) != 0x21) || kind->width > kMostPixels ||
                kind->height > kMostPixels || kind->width < 8 || kind->height < 8)
                return std::nullopt;
            const bool isUsual =
                ByteAt(body, 8) == 0 && ByteAt(body, 11) == 1 && ByteAt(body, 14) == 1;
            if (!isUsual && !rewrites_)
                return std::nullopt;
            problem = "a broken JPEG";
        }
        at += 2 + length;
    }
    return std::nullopt;
}

void JpegPayloads::Begin(const Kind& kind) {
    auto muxer = std::make_unique<RtpMuxer>();
    AVCodecParameters& parameters = *muxer->Track().codecpar;
    parameters.codec_type = AVMEDIA_TYPE_VIDEO;
    parameters.codec_id = AV_CODEC_ID_MJPEG;
    parameters.width = kind.width;
    parameters.height = kind.height;
    parameters.format = kind.isHalved ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUVJ422P;
    muxer->Begin();
    muxer_ = std::move(muxer);
    kind_ = kind;
}

uint32_t JpegPayloads::Split(const MediaUnit& unit, RtpPayloadSink& sink) {
    std::string problem;
    if (const auto picture = Fitting(unit.Payload(), problem))
        muxer_->Split(*picture, sink);
    return 0;
}

}  // namespace vms
