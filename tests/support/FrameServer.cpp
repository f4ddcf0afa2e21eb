#include "tests/support/FrameServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace vms::test {
namespace {

constexpr int kPatienceMs = 20'000;
constexpr unsigned char kMask[4] = {0x12, 0x34, 0x56, 0x78};

void AppendNumber(std::string& bytes, uint64_t value, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<char>(value >> shift));
}

uint64_t Number(std::string_view bytes) {
    uint64_t value = 0;
    for (const char byte : bytes)
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

void Unmask(std::string& payload, std::string_view key) {
    for (size_t i = 0; i < payload.size(); ++i)
        payload[i] = static_cast<char>(payload[i] ^ key[i % 4]);
}

bool WaitFor(int fd) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, kPatienceMs) > 0;
}

std::string Base64Sha1(const std::string& text) {
    std::array<unsigned char, 20> digest{};
    EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha1(), nullptr);
    std::array<unsigned char, 29> encoded{};
    EVP_EncodeBlock(encoded.data(), digest.data(), digest.size());
    return reinterpret_cast<const char*>(encoded.data());
}

}  // namespace

std::string Encode(const Frame& frame) {
    std::string bytes;
    bytes.push_back(static_cast<char>((frame.fin ? 0x80 : 0) | frame.rsv << 4 | frame.opcode));
    const int maskBit = frame.masked ? 0x80 : 0;
    const size_t size = frame.payload.size();
    const int width = size < 126 ? 0 : size < 65536 ? 2 : 8;
    const int length = width == 0 ? static_cast<int>(size) : width == 2 ? 126 : 127;
    bytes.push_back(static_cast<char>(maskBit | length));
    AppendNumber(bytes, size, width);
    std::string payload = frame.payload;
    if (frame.masked) {
        const std::string key(reinterpret_cast<const char*>(kMask), sizeof kMask);
        Unmask(payload, key);
        bytes += key;
    }
    return bytes + payload;
}

std::string ClosePayload(int code, std::string_view reason) {
    std::string payload;
    AppendNumber(payload, static_cast<uint64_t>(code), 2);
    return payload.append(reason);
}

FramePeer::~FramePeer() {
    close(fd_);
}

bool FramePeer::Fill(size_t size) {
    while (pending_.size() < size) {
        std::array<char, 65536> buffer;
        if (!WaitFor(fd_))
            return false;
        const ssize_t count = recv(fd_, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return false;
        pending_.append(buffer.data(), static_cast<size_t>(count));
    }
    return true;
}

bool FramePeer::ReadRequest() {
    size_t end = 0;
    while ((end = pending_.find("\r\n\r\n")) == std::string::npos) {
        if (!Fill(pending_.size() + 1))
            return false;
    }
    request_ = pending_.substr(0, end + 4);
    pending_.erase(0, end + 4);
    return true;
}

std::string FramePeer::AcceptKey() const {
    constexpr std::string_view kField = "Sec-WebSocket-Key: ";
    const size_t begin = request_.find(kField) + kField.size();
    const std::string key = request_.substr(begin, request_.find('\r', begin) - begin);
    return Base64Sha1(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11");
}

bool FramePeer::Upgrade(std::string_view extra) {
    if (!ReadRequest())
        return false;
    return Write(
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: " +
        AcceptKey() + "\r\n" + std::string(extra) + "\r\n");
}

bool FramePeer::Write(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

bool FramePeer::Read(Frame& frame) {
    if (!Fill(2))
        return false;
    const auto first = static_cast<unsigned char>(pending_[0]);
    const auto second = static_cast<unsigned char>(pending_[1]);
    const size_t length = second & 0x7f;
    const size_t width = length < 126 ? 0 : length == 126 ? 2 : 8;
    const size_t keyAt = 2 + width;
    const size_t payloadAt = keyAt + ((second & 0x80) != 0 ? 4 : 0);
    if (!Fill(payloadAt))
        return false;
    const size_t size = width == 0 ? length : Number({pending_.data() + 2, width});
    if (!Fill(payloadAt + size))
        return false;
    frame = {first & 0x0f, pending_.substr(payloadAt, size), (first & 0x80) != 0, (first >> 4) & 7,
             (second & 0x80) != 0};
    if (frame.masked)
        Unmask(frame.payload, pending_.substr(keyAt, 4));
    pending_.erase(0, payloadAt + size);
    return true;
}

bool FramePeer::ReadToEnd() {
    for (;;) {
        std::array<char, 65536> buffer;
        if (!WaitFor(fd_))
            return false;
        if (recv(fd_, buffer.data(), buffer.size(), 0) <= 0)
            return true;
    }
}

FrameServer::FrameServer() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(fd_, generic, length) != 0 || listen(fd_, SOMAXCONN) != 0 ||
        getsockname(fd_, generic, &length) != 0)
        throw std::runtime_error("cannot listen");
    port_ = ntohs(address.sin_port);
}

FrameServer::~FrameServer() {
    close(fd_);
}

std::unique_ptr<FramePeer> FrameServer::Accept() {
    if (!WaitFor(fd_))
        return nullptr;
    const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
        return nullptr;
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return std::make_unique<FramePeer>(fd);
}

std::unique_ptr<FramePeer> FrameServer::AcceptUpgraded() {
    auto peer = Accept();
    return peer != nullptr && peer->Upgrade() ? std::move(peer) : nullptr;
}

}  // namespace vms::test
