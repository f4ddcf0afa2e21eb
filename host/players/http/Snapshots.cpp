#include "host/players/http/Snapshots.h"

#include <atomic>
#include <utility>

#include "host/players/http/DropLater.h"
#include "host/players/http/KeyPictureOutlet.h"
#include "host/players/http/MediaAnswers.h"
#include "media/MediaError.h"
#include "media/picture/Snapshot.h"
#include "platform/ILogHandler.h"

namespace vms::host {

/// One request, from its coming to its answer.
class Snapshots::Request final : public KeyPictureWaiter,
                                 public std::enable_shared_from_this<Request> {
public:
    Request(std::shared_ptr<Snapshots> snapshots, StreamAddress address, int width,
            std::shared_ptr<HttpReply> reply)
        : address_(std::move(address)),
          width_(width),
          begun_(Clock::now()),
          snapshots_(std::move(snapshots)),
          reply_(std::move(reply)) {}

    ~Request() override { DropLater(snapshots_->context_.lanes, share_); }

    /// The stream is there. @param share kept until the answer
    void Opened(std::shared_ptr<LiveShare> share) {
        share_ = share;
        WithOutlet([this](KeyPictureOutlet& outlet) { outlet.Want(shared_from_this()); });
        opened_ = true;
    }

    void Give(const MediaUnit& keyPicture) override {
        snapshots_->Give(shared_from_this(), keyPicture);
    }

    void Refuse(const SourceProblem& problem) override {
        if (!answered_.exchange(true))
            reply_->Send(ProblemAnswer(problem));
    }

    void Answer(const std::string& jpeg) {
        if (answered_.exchange(true))
            return;
        HttpResponse answer;
        answer.contentType = "image/jpeg";
        answer.body = jpeg;
        answer.headers = {{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}};
        reply_->Send(std::move(answer));
    }

    /// Whether there is nothing left to wait for.
    bool IsOver() const { return answered_ || reply_->IsGone(); }

    /// Not under the relay's lock. An outlet that nobody waits for any more goes.
    void Withdraw() {
        if (opened_)
            WithOutlet([this](KeyPictureOutlet& outlet) { outlet.Withdraw(*this); });
    }

    const StreamAddress& Address() const { return address_; }
    int Width() const { return width_; }
    Clock::time_point Begun() const { return begun_; }

private:
    template <class Use>
    void WithOutlet(Use use) {
        share_->Stream().WithOutlet(
            KeyPictureOutlet::kKind, [] { return std::make_shared<KeyPictureOutlet>(); },
            [&use](Outlet& outlet) { use(static_cast<KeyPictureOutlet&>(outlet)); });
    }

    const StreamAddress address_;
    const int width_;
    const Clock::time_point begun_;
    const std::shared_ptr<Snapshots> snapshots_;
    const std::shared_ptr<HttpReply> reply_;
    std::shared_ptr<LiveShare> share_;
    std::atomic<bool> opened_{false};
    std::atomic<bool> answered_{false};
};

Snapshots::~Snapshots() {
    Stop();
}

void Snapshots::Start() {
    thread_ = std::thread([this] { Run(); });
}

void Snapshots::Answer(const StreamAddress& address, int width, std::shared_ptr<HttpReply> reply) {
    const auto request =
        std::make_shared<Request>(shared_from_this(), address, width, std::move(reply));
    {
        MutexLock lock(mutex_);
        waiting_.push_back(request);
    }
    context_.live.Open(address,
                       [request](std::shared_ptr<LiveShare> share, const SourceProblem& problem) {
                           if (share == nullptr)
                               request->Refuse(problem);
                           else
                               request->Opened(std::move(share));
                       });
}

/// Under the relay's lock.
void Snapshots::Give(const std::shared_ptr<Request>& request, const MediaUnit& keyPicture) {
    SnapshotCache::Jpeg jpeg;
    {
        MutexLock lock(mutex_);
        jpeg = cache_.Find(request->Address(), request->Width(), keyPicture);
        if (jpeg == nullptr && !stopping_ && jobs_.size() < kMostWaiting) {
            jobs_.push_back({request, keyPicture});
            wake_.NotifyOne();
            return;
        }
    }
    if (jpeg != nullptr)
        request->Answer(*jpeg);
    else
        request->Refuse({503, "too many snapshots are being made"});
}

void Snapshots::Run() {
    for (;;) {
        Job job;
        {
            MutexLock lock(mutex_);
            while (jobs_.empty() && !stopping_)
                wake_.Wait(mutex_);
            if (jobs_.empty())
                return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        try {
            Make(job);
        } catch (const std::exception& error) {
            context_.log.Log(3, "Snapshots", "%s", error.what());
            job.request->Refuse({500, "the request failed"});
        }
    }
}

void Snapshots::Make(const Job& job) {
    Request& request = *job.request;
    if (request.IsOver())
        return;
    SnapshotCache::Jpeg jpeg;
    {
        MutexLock lock(mutex_);
        jpeg = cache_.Find(request.Address(), request.Width(), job.keyPicture);
    }
    if (jpeg == nullptr) {
        try {
            jpeg = std::make_shared<const std::string>(SnapshotOf(job.keyPicture, request.Width()));
        } catch (const MediaError& error) {
            request.Refuse({502, error.what()});
            return;
        }
        MutexLock lock(mutex_);
        cache_.Keep(request.Address(), request.Width(), job.keyPicture, jpeg);
    }
    request.Answer(*jpeg);
    request.Withdraw();
}

void Snapshots::Sweep(Clock::time_point now) {
    std::vector<std::shared_ptr<Request>> requests;
    {
        MutexLock lock(mutex_);
        requests.swap(waiting_);
    }
    std::vector<std::shared_ptr<Request>> left;
    for (auto& request : requests) {
        if (!request->IsOver() && now - request->Begun() >= kPatience)
            request->Refuse({504, "the device has sent no key picture"});
        if (request->IsOver())
            request->Withdraw();
        else
            left.push_back(std::move(request));
    }
    MutexLock lock(mutex_);
    waiting_.insert(waiting_.end(), left.begin(), left.end());
}

void Snapshots::Stop() {
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        wake_.NotifyAll();
    }
    if (thread_.joinable())
        thread_.join();
    std::deque<Job> jobs;
    std::vector<std::shared_ptr<Request>> waiting;
    {
        MutexLock lock(mutex_);
        jobs.swap(jobs_);
        waiting.swap(waiting_);
    }
}

}  // namespace vms::host
