#include "host/auth/DigestAccess.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "host/auth/Secrets.h"

namespace vms::host {
namespace {

constexpr size_t kTimeLetters = 16;  ///< ms, hexadecimal
constexpr size_t kRandomBytes = 8;
constexpr size_t kUnsigned = kTimeLetters + 2 * kRandomBytes;
constexpr size_t kCountLetters = 8;

std::string TimeText(int64_t time) {
    std::string text(kTimeLetters, '0');
    char digits[kTimeLetters] = "";
    const auto end =
        std::to_chars(digits, digits + kTimeLetters, static_cast<uint64_t>(time), 16).ptr;
    const auto length = static_cast<size_t>(end - digits);
    text.replace(kTimeLetters - length, length, digits, length);
    return text;
}

template <class Number>
std::optional<Number> Hexadecimal(std::string_view text) {
    Number number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size())
        return std::nullopt;
    return number;
}

}  // namespace

std::string DigestResponse(const DigestHeader& header, std::string_view method,
                           const DigestSecret& secret) {
    const bool isSha = header.algorithm == "SHA-256";
    const auto hash = isSha ? Sha256Hex : Md5Hex;
    const std::string request = hash(std::string(method) + ":" + header.uri);
    const std::string middle = header.qop.empty() ? header.nonce
                                                  : header.nonce + ":" + header.count + ":" +
                                                        header.cnonce + ":" + header.qop;
    return hash((isSha ? secret.sha256 : secret.md5) + ":" + middle + ":" + request);
}

DigestAccess::DigestAccess(std::string realm)
    : realm_(std::move(realm)),
      key_(RandomSecret()),
      epoch_(Clock::now()),
      nobodys_{{RandomHex(16), RandomHex(32)}} {}

int64_t DigestAccess::MillisecondsAt(Time now) const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(now - epoch_).count();
}

std::string DigestAccess::MakeNonce(const std::string& peer, Time now) const {
    const std::string text = TimeText(MillisecondsAt(now)) + RandomHex(kRandomBytes);
    return text + Base64Url(HmacSha256(key_, text + peer));
}

bool DigestAccess::IsOurs(const std::string& nonce, const std::string& peer, int64_t& made) const {
    if (nonce.size() <= kUnsigned)
        return false;
    const std::string text = nonce.substr(0, kUnsigned);
    const auto time = Hexadecimal<uint64_t>(text.substr(0, kTimeLetters));
    made = static_cast<int64_t>(time.value_or(0));
    return time && SameSecret(nonce.substr(kUnsigned), Base64Url(HmacSha256(key_, text + peer)));
}

std::vector<std::string> DigestAccess::Challenges(const std::string& peer, bool isStale,
                                                  Time now) const {
    const std::string nonce = MakeNonce(peer, now);
    std::vector<std::string> challenges;
    for (const char* const algorithm : {"SHA-256", "MD5"}) {
        challenges.push_back("Digest realm=" + Quoted(realm_) + ", nonce=" + Quoted(nonce) +
                             ", algorithm=" + algorithm + ", qop=\"auth\"" +
                             (isStale ? ", stale=true" : ""));
    }
    return challenges;
}

DigestAccess::Outcome DigestAccess::Check(const DigestHeader& header, std::string_view method,
                                          const std::string& peer,
                                          const std::vector<DigestSecret>& secrets, Time now,
                                          size_t& matched) {
    if ((header.algorithm != "SHA-256" && header.algorithm != "MD5") || header.realm != realm_)
        return Outcome::kWrong;
    const bool isCounted = !header.qop.empty();
    const auto count = isCounted && header.count.size() == kCountLetters
                           ? Hexadecimal<uint32_t>(header.count)
                           : std::nullopt;
    if (isCounted && (header.qop != "auth" || !count || header.cnonce.empty()))
        return Outcome::kWrong;
    int64_t made = 0;
    // A nonce of another address or of the process before this one: not a guess at a password.
    if (!IsOurs(header.nonce, peer, made))
        return Outcome::kStale;
    // A name that nobody has takes as long.
    const std::vector<DigestSecret>& compared = secrets.empty() ? nobodys_ : secrets;
    bool isRight = false;
    for (size_t i = 0; i < compared.size(); ++i) {
        const std::string expected = DigestResponse(header, method, compared[i]);
        if (SameSecret(expected, header.response)) {
            isRight = true;
            matched = i;
        }
    }
    if (!isRight || secrets.empty())
        return Outcome::kWrong;
    const std::chrono::milliseconds age(MillisecondsAt(now) - made);
    if (age > (isCounted ? kNonce : kUncounted))
        return Outcome::kStale;
    return !isCounted || CountIsNew(header.nonce, made, *count) ? Outcome::kGood : Outcome::kStale;
}

/// Counts must grow. What has been forgotten for want of room counts as used.
bool DigestAccess::CountIsNew(const std::string& nonce, int64_t made, uint32_t count) {
    MutexLock lock(mutex_);
    const auto [first, last] = counted_.equal_range(made);
    for (auto one = first; one != last; ++one) {
        if (one->second.nonce != nonce)
            continue;
        const bool isNew = count > one->second.latest;
        one->second.latest = std::max(count, one->second.latest);
        return isNew;
    }
    if (made <= forgotten_)
        return false;
    counted_.emplace(made, Counted{nonce, count});
    if (counted_.size() > kCounted) {
        forgotten_ = counted_.begin()->first;
        counted_.erase(counted_.begin());
    }
    return true;
}

}  // namespace vms::host
