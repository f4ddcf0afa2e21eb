#include "sim/soap/TokenVerifier.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <openssl/crypto.h>

#include "sim/soap/Digest.h"

namespace vms::sim {

namespace {

bool SameText(const std::string& a, const std::string& b) {
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

// Fraction and zone; a token's time is UTC by definition.
bool IsUtcTail(std::string_view tail) {
    if (!tail.empty() && tail.front() == '.')
        tail.remove_prefix(std::min(tail.size(), tail.find_first_not_of("0123456789", 1)));
    return tail == "Z";
}

}  // namespace

std::optional<std::time_t> ParseUtc(const std::string& text) {
    std::tm fields{};
    const char* tail = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields);
    if (tail == nullptr || !IsUtcTail(tail))
        return std::nullopt;
    return timegm(&fields);
}

TokenVerifier::Result TokenVerifier::Verify(const std::optional<UsernameToken>& token,
                                            std::time_t now) {
    if (!token)
        return Result::kMissing;
    if (token->user != user_)
        return Result::kWrongUser;
    if (token->passwordType != kPasswordDigestType)
        return Result::kNotDigest;
    const auto nonce = DecodeBase64(token->nonce);
    if (!nonce || nonce->empty())
        return Result::kBadNonce;
    const auto created = ParseUtc(token->created);
    if (!created || std::llabs(static_cast<long long>(*created) - now) > kWindow)
        return Result::kStale;
    if (!SameText(token->password, PasswordDigest(*nonce, token->created, password_)))
        return Result::kWrongDigest;
    return Remember(*nonce, now) ? Result::kAccepted : Result::kReplayed;
}

bool TokenVerifier::Remember(const std::string& key, std::time_t now) {
    MutexLock lock(mutex_);
    while (!order_.empty() && order_.front().expires < now)
        ForgetOldest();
    if (seen_.count(key) != 0)
        return false;
    if (order_.size() >= kMaxNonces)
        ForgetOldest();
    seen_.insert(key);
    // A token made at the late edge of the window stays acceptable for two of them.
    order_.push_back({now + 2 * kWindow, key});
    return true;
}

void TokenVerifier::ForgetOldest() {
    seen_.erase(order_.front().key);
    order_.pop_front();
}

const char* TokenVerifier::Name(Result result) {
    switch (result) {
        case Result::kAccepted:
            return "accepted";
        case Result::kMissing:
            return "missing";
        case Result::kWrongUser:
            return "wrongUser";
        case Result::kNotDigest:
            return "notDigest";
        case Result::kBadNonce:
            return "badNonce";
        case Result::kStale:
            return "stale";
        case Result::kWrongDigest:
            return "wrongDigest";
        case Result::kReplayed:
            return "replayed";
    }
    return "unknown";
}

}  // namespace vms::sim
