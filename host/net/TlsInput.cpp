#include "host/net/TlsInput.h"

#include <openssl/bio.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

namespace vms::host {
namespace {

struct Input {
    int socket = -1;
    size_t left = 0;
    bool isOver = false;  ///< the peer sends nothing more
};

Input& InputOf(BIO* bio) {
    return *static_cast<Input*>(BIO_get_data(bio));
}

int Read(BIO* bio, char* room, int size) {
    BIO_clear_retry_flags(bio);
    Input& input = InputOf(bio);
    const size_t most = std::min(input.left, static_cast<size_t>(std::max(size, 0)));
    ssize_t count = -1;
    if (most > 0)
        count = recv(input.socket, room, most, MSG_DONTWAIT);
    if (count < 0 && (most == 0 || errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        BIO_set_retry_read(bio);
        return -1;
    }
    input.isOver = count == 0;
    input.left -= static_cast<size_t>(std::max<ssize_t>(count, 0));
    return static_cast<int>(count);
}

long Control(BIO* bio, int command, long /*number*/, void* /*pointer*/) {
    if (command == BIO_CTRL_EOF)
        return InputOf(bio).isOver ? 1 : 0;
    return 0;
}

int Destroy(BIO* bio) {
    delete static_cast<Input*>(BIO_get_data(bio));
    return 1;
}

/// Made once and kept as long as the process.
BIO_METHOD* Method() {
    static BIO_METHOD* const method = [] {
        BIO_METHOD* const made =
            BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "measured socket input");
        if (made != nullptr) {
            BIO_meth_set_read(made, Read);
            BIO_meth_set_ctrl(made, Control);
            BIO_meth_set_destroy(made, Destroy);
        }
        return made;
    }();
    return method;
}

}  // namespace

bio_st* MakeTlsInput(int socket) {
    auto input = std::unique_ptr<Input>(new (std::nothrow) Input{socket});
    BIO* const bio = input == nullptr || Method() == nullptr ? nullptr : BIO_new(Method());
    if (bio == nullptr)
        return nullptr;
    BIO_set_data(bio, input.release());
    BIO_set_init(bio, 1);
    return bio;
}

void AllowInput(bio_st* input, size_t bytes) {
    InputOf(input).left = bytes;
}

size_t InputLeft(bio_st* input) {
    return InputOf(input).left;
}

}  // namespace vms::host
