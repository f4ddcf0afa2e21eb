#include "drivers/mediafile/sources/WavFile.h"

#include <array>
#include <cstring>

// RIFF file, all numbers little-endian:
//
//   "RIFF" size(4) "WAVE"
//   "fmt " 18(4) format(2) channels(2) rate(4) bytes/s(4) block(2) bits(2) extra(2)
//   "fact" 4(4) samples(4)
//   "data" size(4) sound, padded to an even length

namespace vms::mediafile {
namespace {

constexpr size_t kHeaderSize = 58;
constexpr uint32_t kRate = 8000;
constexpr uint32_t kMaxBytes = 256U * 1024 * 1024;
constexpr uint16_t kFormatALaw = 6;
constexpr uint16_t kFormatMuLaw = 7;

class HeaderWriter {
public:
    void Text(const char* text) {
        std::memcpy(bytes_.data() + used_, text, 4);
        used_ += 4;
    }
    void Number(uint32_t value, int width) {
        for (int i = 0; i < width; ++i)
            bytes_[used_++] = static_cast<unsigned char>(value >> (8 * i));
    }
    const std::array<unsigned char, kHeaderSize>& Bytes() const { return bytes_; }

private:
    std::array<unsigned char, kHeaderSize> bytes_{};
    size_t used_ = 0;
};

void WriteFormat(HeaderWriter& header, uint16_t format) {
    header.Text("fmt ");
    header.Number(18, 4);
    header.Number(format, 2);
    header.Number(1, 2);
    header.Number(kRate, 4);
    header.Number(kRate, 4);
    header.Number(1, 2);
    header.Number(8, 2);
    header.Number(0, 2);
}

HeaderWriter MakeHeader(AudioCodec codec, uint32_t size) {
    HeaderWriter header;
    header.Text("RIFF");
    header.Number(static_cast<uint32_t>(kHeaderSize) - 8 + size + size % 2, 4);
    header.Text("WAVE");
    WriteFormat(header, codec == AudioCodec::kALaw ? kFormatALaw : kFormatMuLaw);
    header.Text("fact");
    header.Number(4, 4);
    header.Number(size, 4);
    header.Text("data");
    header.Number(size, 4);
    return header;
}

}  // namespace

std::unique_ptr<WavFile> WavFile::Create(const std::filesystem::path& path, AudioCodec codec) {
    FilePtr file(std::fopen(path.c_str(), "wbx"));
    if (file == nullptr)
        return nullptr;
    std::unique_ptr<WavFile> wav(new WavFile(std::move(file), codec));
    return wav->WriteHeader() ? std::move(wav) : nullptr;
}

WavFile::~WavFile() {
    if (size_ % 2 != 0)
        std::fputc(0, file_.get());
    WriteHeader();
}

bool WavFile::Append(const char* data, size_t size) {
    if (size > kMaxBytes - size_ || std::fwrite(data, 1, size, file_.get()) != size)
        return false;
    size_ += static_cast<uint32_t>(size);
    return true;
}

bool WavFile::WriteHeader() {
    const HeaderWriter header = MakeHeader(codec_, size_);
    return std::fseek(file_.get(), 0, SEEK_SET) == 0 &&
           std::fwrite(header.Bytes().data(), 1, kHeaderSize, file_.get()) == kHeaderSize;
}

}  // namespace vms::mediafile
