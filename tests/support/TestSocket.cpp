#include "tests/support/TestSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace vms::test {
namespace {

constexpr int kPatience = 20'000;  ///< milliseconds

}  // namespace

TestSocket::TestSocket(int port, int receiveBuffer, const char* from)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (receiveBuffer > 0)
        setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, from, &address.sin_addr);
    bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        close(socket_);
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    }
}

TestSocket::~TestSocket() {
    if (socket_ >= 0)
        close(socket_);
}

bool TestSocket::StartTls(int version) {
    tls_ = std::make_unique<TestTls>(socket_, &TestSocket::Wait, version);
    return tls_->Shake();
}

bool TestSocket::BeginTls() {
    tls_ = std::make_unique<TestTls>(socket_, &TestSocket::Wait);
    return tls_->SendHello() && Wait(socket_, POLLIN);
}

bool TestSocket::Send(std::string_view bytes) {
    if (tls_ != nullptr)
        return tls_->Send(bytes);
    while (!bytes.empty()) {
        const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0)
            bytes.remove_prefix(static_cast<size_t>(sent));
        else if ((errno != EAGAIN && errno != EINTR) || !Wait(socket_, POLLOUT))
            return false;
    }
    return true;
}

bool TestSocket::Read(size_t count, std::string& bytes) {
    while (received_.size() < count) {
        if (Receive() <= 0)
            return false;
    }
    bytes = received_.substr(0, count);
    received_.erase(0, count);
    return true;
}

bool TestSocket::ReadUntil(std::string_view mark, std::string& text) {
    size_t at = 0;
    while ((at = received_.find(mark)) == std::string::npos) {
        if (Receive() <= 0)
            return false;
    }
    return Read(at + mark.size(), text);
}

bool TestSocket::ReadToEnd(std::string& bytes) {
    int count = 0;
    while ((count = Receive()) > 0) {
    }
    bytes.swap(received_);
    received_.clear();
    return count == 0;
}

void TestSocket::FinishSending() {
    if (tls_ != nullptr)
        tls_->FinishSending();
    shutdown(socket_, SHUT_WR);
}

void TestSocket::Reset() {
    const linger none{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    close(socket_);
    socket_ = -1;
}

int TestSocket::Receive() {
    char buffer[65536];
    if (tls_ == nullptr && !Wait(socket_, POLLIN))
        return -1;
    const ssize_t count = tls_ != nullptr ? tls_->Receive(buffer, sizeof buffer)
                                          : recv(socket_, buffer, sizeof buffer, 0);
    if (count <= 0)
        return tls_ != nullptr ? static_cast<int>(count) : 0;
    received_.append(buffer, static_cast<size_t>(count));
    return static_cast<int>(count);
}

bool TestSocket::Wait(int socket, short events) {
    pollfd entry{socket, events, 0};
    return poll(&entry, 1, kPatience) > 0;
}

}  // namespace vms::test
