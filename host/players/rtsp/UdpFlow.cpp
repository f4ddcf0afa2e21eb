#include "host/players/rtsp/UdpFlow.h"

#include <netinet/udp.h>
#include <sys/socket.h>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "media/rtp/RtpPackets.h"

namespace vms::host {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::chrono::milliseconds kPace(4);
constexpr size_t kBatch = 32;  ///< packets in a system call

/// Any packet of RTCP (RFC 3550, 6).
bool IsReport(const char* bytes, size_t size) {
    const auto byte = [bytes](size_t at) { return static_cast<unsigned char>(bytes[at]); };
    return size >= 8 && byte(0) >> 6 == 2 && byte(1) >= 200 && byte(1) <= 207;
}

/// Packets for one port in one system call. Where neighbours are of one size, but for the last, the
/// kernel is given them as one and takes them apart itself (udp(7), UDP_SEGMENT).
class Batch {
public:
    struct Sum {
        size_t packets = 0;
        size_t bytes = 0;  ///< of a row, with what stands in front of each
    };

    /// @param row at least so many packets, at most kBatch
    void Fill(std::string_view row, size_t count, bool joins) {
        for (size_t i = 0; i < count; ++i) {
            const std::string_view packet = FrontRtpPacket(row).bytes;
            parts_[i] = {const_cast<char*>(packet.data()), packet.size()};
            if (i == 0 || !joins || !Fits(packet.size()))
                Begin(&parts_[i]);
            Add(packet.size());
            row.remove_prefix(kRtpFrameSize + packet.size());
        }
        for (size_t i = 0; i < count_; ++i) {
            if (IsJoined(i))
                Join(i);
        }
    }

    /// @return as sendmmsg(2)
    int Send(int descriptor) {
        return sendmmsg(descriptor, messages_.data(), static_cast<unsigned>(count_),
                        MSG_DONTWAIT | MSG_NOSIGNAL);
    }

    bool IsJoined(size_t message) const { return sums_[message].packets > 1; }

    Sum SumOf(size_t messages) const {
        Sum sum;
        for (size_t i = 0; i < messages; ++i) {
            sum.packets += sums_[i].packets;
            sum.bytes += sums_[i].bytes;
        }
        return sum;
    }

private:
    struct alignas(cmsghdr) Control {
        char bytes[CMSG_SPACE(sizeof(uint16_t))];
    };

    bool Fits(size_t size) const {
        const msghdr& message = messages_[count_ - 1].msg_hdr;
        const size_t first = message.msg_iov[0].iov_len;
        return message.msg_iov[message.msg_iovlen - 1].iov_len == first && size <= first;
    }

    void Begin(iovec* part) {
        messages_[count_].msg_hdr.msg_iov = part;
        ++count_;
    }

    void Add(size_t size) {
        ++messages_[count_ - 1].msg_hdr.msg_iovlen;
        ++sums_[count_ - 1].packets;
        sums_[count_ - 1].bytes += kRtpFrameSize + size;
    }

    void Join(size_t index) {
        msghdr& message = messages_[index].msg_hdr;
        message.msg_control = controls_[index].bytes;
        message.msg_controllen = sizeof controls_[index].bytes;
        cmsghdr* const head = CMSG_FIRSTHDR(&message);
        head->cmsg_level = SOL_UDP;
        head->cmsg_type = UDP_SEGMENT;
        head->cmsg_len = CMSG_LEN(sizeof(uint16_t));
        const auto size = static_cast<uint16_t>(message.msg_iov[0].iov_len);
        std::memcpy(CMSG_DATA(head), &size, sizeof size);
    }

    size_t count_ = 0;  ///< messages
    std::array<mmsghdr, kBatch> messages_{};
    std::array<iovec, kBatch> parts_{};
    std::array<Control, kBatch> controls_{};
    std::array<Sum, kBatch> sums_{};
};

}  // namespace

UdpFlow::UdpFlow(IoThread& io, const SendLimits& limits, std::function<void(bool, const char*)> end)
    : io_(io),
      limits_(limits),
      end_(std::move(end)),
      policy_(limits),
      refilled_(Clock::now()),
      heard_(refilled_),
      timer_(io.Context()) {}

UdpFlow::~UdpFlow() = default;

void UdpFlow::Add(size_t track, std::unique_ptr<UdpPair> pair) {
    {
        MutexLock lock(mutex_);
        pairs_[track] = std::move(pair);
    }
    Listen(track);
}

/// On the I/O thread.
void UdpFlow::Listen(size_t track) {
    MutexLock lock(mutex_);
    if (isOver_)
        return;
    pairs_[track]->Control().async_receive(
        asio::buffer(report_[track]),
        [weak = weak_from_this(), track](error_code error, size_t size) {
            if (const auto self = weak.lock())
                self->OnReport(track, error, size);
        });
}

void UdpFlow::OnReport(size_t track, error_code error, size_t size) {
    if (error == asio::error::operation_aborted || error == asio::error::bad_descriptor)
        return;
    if (!error && IsReport(report_[track].data(), size)) {
        MutexLock lock(mutex_);
        heard_ = Clock::now();
        refusals_ = 0;
    }
    Listen(track);
}

void UdpFlow::BeginLive(const std::vector<Chunk>& prelude, bool holds) {
    MutexLock lock(mutex_);
    if (isOver_)
        return;
    policy_.Begin(holds);
    for (const Chunk& chunk : prelude)
        queue_.Push({chunk, SendQueue::Class::kPrelude});
    Flush();
}

void UdpFlow::SendLive(const Chunk& chunk) {
    MutexLock lock(mutex_);
    if (isOver_)
        return;
    switch (policy_.Admit(chunk.kind, queue_.BoundBytes(), queue_.BoundUnits())) {
        case SendVerdict::kAccepted:
            queue_.Push({chunk, SendQueue::Class::kUnit});
            Flush();
            break;
        case SendVerdict::kDropped:
            queue_.CountDropped();
            break;
        case SendVerdict::kTooSlow:
            GiveUp(true, "too slow");
            break;
        case SendVerdict::kHeld:
        case SendVerdict::kClosed:
            break;
    }
}

bool UdpFlow::SendWhole(const Chunk& chunk, SendQueue::Class what) {
    MutexLock lock(mutex_);
    if (isOver_)
        return false;
    if (queue_.BoundBytes() >= limits_.wholeBytes) {
        GiveUp(true, "too slow");
        return false;
    }
    queue_.Push({chunk, what});
    Flush();
    return !isOver_;
}

SendCounts UdpFlow::Counts() const {
    MutexLock lock(mutex_);
    return queue_.Counts();
}

UdpFlow::Clock::time_point UdpFlow::Heard() const {
    MutexLock lock(mutex_);
    return heard_;
}

void UdpFlow::Close() {
    MutexLock lock(mutex_);
    isOver_ = true;
    queue_.Clear();
    timer_.cancel();
    error_code ignored;
    for (const auto& pair : pairs_) {
        if (pair == nullptr)
            continue;
        pair->Media().close(ignored);
        pair->Control().close(ignored);
    }
}

void UdpFlow::GiveUp(bool isTooSlow, const char* reason) {
    isOver_ = true;
    queue_.Clear();
    end_(isTooSlow, reason);
}

void UdpFlow::Refill() {
    const auto now = Clock::now();
    const std::chrono::duration<double, std::milli> passed = now - refilled_;
    credit_ = std::min(credit_ + passed.count() * kPerMs, double{kBurst});
    refilled_ = now;
}

void UdpFlow::Flush() {
    Refill();
    while (!isOver_ && !queue_.Empty()) {
        if (!SendSome(queue_.Front())) {
            FlushLater();
            return;
        }
        if (!isOver_ && queue_.Front().sent == queue_.Front().chunk.Size())
            queue_.Pop();
    }
}

/// Sends the next packets of a frame that go to the same port.
/// @return false when nothing more goes for now
bool UdpFlow::SendSome(SendQueue::Frame& frame) {
    std::string_view rest = frame.chunk.body.substr(frame.sent);
    const RtpPacketView first = FrontRtpPacket(rest);
    const int descriptor = DescriptorFor(first.channel);
    if (descriptor < 0) {
        frame.sent += kRtpFrameSize + first.bytes.size();
        return true;
    }
    const auto allowed = std::min(static_cast<size_t>(std::max(credit_, 0.0)), kBatch);
    size_t count = 0;
    while (count < allowed && !rest.empty() && FrontRtpPacket(rest).channel == first.channel) {
        rest.remove_prefix(kRtpFrameSize + FrontRtpPacket(rest).bytes.size());
        ++count;
    }
    return count > 0 && SendPackets(frame, descriptor, count, first.IsControl());
}

bool UdpFlow::SendPackets(SendQueue::Frame& frame, int descriptor, size_t count, bool isControl) {
    Batch batch;
    batch.Fill(frame.chunk.body.substr(frame.sent), count, joins_);
    const int taken = batch.Send(descriptor);
    if (taken < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS))
        return false;
    if (taken < 0 && errno == EINTR)
        return true;
    if (taken < 0 && errno != ECONNREFUSED && batch.IsJoined(0)) {
        joins_ = false;
        return true;
    }
    // That a packet was refused is told at the next one, which is then lost, too.
    const Batch::Sum gone = batch.SumOf(taken < 0 ? 1 : static_cast<size_t>(taken));
    if (taken < 0 && !isControl && ++refusals_ >= kMostRefusals) {
        GiveUp(false, "nobody listens at the player's ports");
        return true;
    }
    frame.sent += gone.bytes;
    credit_ -= static_cast<double>(gone.packets);
    return true;
}

/// @return -1 = the player has not set that track up
int UdpFlow::DescriptorFor(int channel) {
    const auto track = static_cast<size_t>(channel / 2);
    if (track >= pairs_.size() || pairs_[track] == nullptr)
        return -1;
    auto& pair = *pairs_[track];
    return channel % 2 == 0 ? pair.Media().native_handle() : pair.Control().native_handle();
}

void UdpFlow::FlushLater() {
    if (std::exchange(isArmed_, true))
        return;
    asio::post(io_.Context(), [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self == nullptr)
            return;
        self->timer_.expires_after(kPace);
        self->timer_.async_wait([weak](error_code error) {
            const auto waiting = weak.lock();
            if (!error && waiting != nullptr)
                waiting->OnTimer();
        });
    });
}

void UdpFlow::OnTimer() {
    MutexLock lock(mutex_);
    isArmed_ = false;
    Flush();
}

}  // namespace vms::host
