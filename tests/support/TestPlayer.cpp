#include "tests/support/TestPlayer.h"

#include <stdexcept>

#include "platform/Json.h"

namespace vms::test {
namespace {

// The example key of the RFC and the answer it gives there (1.3).
constexpr char kKey[] = "dGhlIHNhbXBsZSBub25jZQ==";
constexpr char kAccept[] = "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=";

void AppendBigEndian(std::string& out, uint64_t value, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        out += static_cast<char>(value >> shift);
}

uint64_t BigEndian(const std::string& bytes) {
    uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

}  // namespace

std::string UpgradeRequest(const std::string& target) {
    return "GET " + target +
           " HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: " +
           kKey + "\r\n\r\n";
}

TestPlayer::TestPlayer(int port, int receiveBuffer, const std::string& target, bool isSecure)
    : socket_(port, receiveBuffer) {
    if (isSecure && !socket_.StartTls())
        throw std::runtime_error("no TLS");
    std::string head;
    if (!socket_.Send(UpgradeRequest(target)) || !socket_.ReadUntil("\r\n\r\n", head) ||
        head.rfind("HTTP/1.1 101 ", 0) != 0 || head.find(kAccept) == std::string::npos)
        throw std::runtime_error("no upgrade: " + head);
}

std::string TestPlayer::Encode(int opcode, const std::string& payload, bool masked, bool final) {
    const std::string mask = masked ? "\x12\x34\x56\x78" : "";
    const int maskBit = masked ? 0x80 : 0;
    std::string frame(1, static_cast<char>((final ? 0x80 : 0) | opcode));
    if (payload.size() < 126) {
        frame += static_cast<char>(maskBit | static_cast<int>(payload.size()));
    } else {
        const int width = payload.size() < 65536 ? 2 : 8;
        frame += static_cast<char>(maskBit | (width == 2 ? 126 : 127));
        AppendBigEndian(frame, payload.size(), width);
    }
    frame += mask;
    for (size_t i = 0; i < payload.size(); ++i)
        frame += static_cast<char>(masked ? payload[i] ^ mask[i % 4] : payload[i]);
    return frame;
}

bool TestPlayer::SendRequest(int32_t command, const std::string& key, const std::string& body) {
    Json::Value request(Json::objectValue);
    request["cmd"] = command;
    request["key"] = key;
    request["body"] = body;
    return Send(kText, request.toStyledString());
}

bool TestPlayer::Next(Frame& frame) {
    std::string head;
    if (!socket_.Read(2, head))
        return false;
    const int first = static_cast<unsigned char>(head[0]);
    uint64_t length = static_cast<unsigned char>(head[1]);
    std::string extended;
    if (length == 126 || length == 127) {
        const size_t width = length == 126 ? 2 : 8;
        if (!socket_.Read(width, extended))
            return false;
        length = BigEndian(extended);
        if (length < (width == 2 ? 126U : 65536U))
            return false;
    }
    constexpr uint64_t kLongest = 128U << 20;
    frame.opcode = first & 0xf;
    const bool wholeAndUnmasked = (first & 0xf0) == 0x80;
    return wholeAndUnmasked && length <= kLongest && socket_.Read(length, frame.payload);
}

int TestPlayer::Ask(int32_t command, const std::string& key, const std::string& body) {
    constexpr int kNone = -100;
    if (!SendRequest(command, key, body))
        return kNone;
    for (Frame frame; Next(frame);) {
        Json::Value answer;
        if (frame.opcode == kText && ParseJson(frame.payload.c_str(), answer) &&
            Member(answer, "cmd") == command && Member(answer, "key") == key &&
            Member(answer, "result").isInt())
            return answer["result"].asInt();
    }
    return kNone;
}

}  // namespace vms::test
