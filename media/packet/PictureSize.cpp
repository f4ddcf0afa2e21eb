#include "media/packet/PictureSize.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <vector>

#include "media/packet/LibavCodec.h"

namespace vms {
namespace {

struct ParserDeleter {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};

}  // namespace

bool ReadPictureSize(const MediaUnit& keyPicture, uint16_t& width, uint16_t& height) {
    const AVCodecID id = LibavCodec(keyPicture.Header().Codec());
    const std::unique_ptr<AVCodecParserContext, ParserDeleter> parser(av_parser_init(id));
    const std::unique_ptr<AVCodecContext, ParserDeleter> codec(
        avcodec_alloc_context3(avcodec_find_decoder(id)));
    if (parser == nullptr || codec == nullptr)
        return false;
    parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    const std::string_view payload = keyPicture.Payload();
    std::vector<uint8_t> padded(payload.begin(), payload.end());
    padded.resize(payload.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    uint8_t* parsed = nullptr;
    int size = 0;
    av_parser_parse2(parser.get(), codec.get(), &parsed, &size, padded.data(),
                     static_cast<int>(payload.size()), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    if (parser->width <= 0 || parser->height <= 0 || parser->width > UINT16_MAX ||
        parser->height > UINT16_MAX)
        return false;
    width = static_cast<uint16_t>(parser->width);
    height = static_cast<uint16_t>(parser->height);
    return true;
}

}  // namespace vms
