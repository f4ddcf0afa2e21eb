#include "host/http/BodyBudget.h"

#include <utility>

namespace vms::host {

bool BodyBudget::Take(size_t bytes) {
    size_t used = used_;
    do {
        if (bytes > most_ - used)
            return false;
    } while (!used_.compare_exchange_weak(used, used + bytes));
    return true;
}

BodyBudget::Share::Share(Share&& other) noexcept
    : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

BodyBudget::Share& BodyBudget::Share::operator=(Share&& other) noexcept {
    if (this != &other) {
        Release();
        budget_ = std::exchange(other.budget_, nullptr);
        bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
}

bool BodyBudget::Share::Resize(BodyBudget& budget, size_t bytes) {
    if (bytes > bytes_ && !budget.Take(bytes - bytes_))
        return false;
    if (bytes < bytes_)
        budget.GiveBack(bytes_ - bytes);
    budget_ = &budget;
    bytes_ = bytes;
    return true;
}

void BodyBudget::Share::Release() {
    if (budget_ != nullptr)
        budget_->GiveBack(bytes_);
    budget_ = nullptr;
    bytes_ = 0;
}

}  // namespace vms::host
