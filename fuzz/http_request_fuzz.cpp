// What an HTTP client sends. The first byte says in what pieces it comes ("t": the rest is a
// request target alone). However it comes, the same is read, and no more waits than may.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/http/HttpOrigins.h"
#include "host/http/HttpRequestReader.h"
#include "host/http/HttpTarget.h"

namespace {

using vms::host::BodyBudget;
using vms::host::HttpRequest;
using vms::host::HttpRequestReader;
using Progress = HttpRequestReader::Progress;

constexpr vms::host::HttpLimits kLimits{2048, 40'000};
constexpr size_t kBudget = 30'000;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

struct Outcome {
    Progress progress = Progress::kMore;
    int failure = 0;
    std::string seen;
    std::string rest;

    bool operator==(const Outcome&) const = default;
};

void CheckTarget(const HttpRequest& request) {
    Require(!request.path.empty() && request.path.front() == '/' && !request.segments.empty());
    Require(request.path.find('\0') == std::string::npos);
    for (const std::string& segment : request.segments)
        Require(segment != "." && segment != "..");
}

std::string Seen(HttpRequestReader& reader) {
    HttpRequest& request = reader.Request();
    CheckTarget(request);
    const vms::host::HttpOrigins origins({"name"});
    return request.method + " " + request.path + " " + request.host + " " + request.body + " " +
           std::to_string(vms::host::HttpOrigins::IsOwn(request)) +
           std::to_string(origins.IsOwnName(request)) + std::to_string(reader.KeepsAlive()) +
           std::to_string(reader.AsksToUpgrade()) + std::to_string(reader.ExpectsContinue());
}

/// Reads one request that comes in pieces of so many bytes.
Outcome Read(std::string_view bytes, size_t piece) {
    BodyBudget budget(kBudget);
    HttpRequestReader reader(kLimits);
    Outcome outcome;
    bool hasHead = false;
    do {
        outcome.rest += bytes.substr(0, piece);
        bytes.remove_prefix(std::min(piece, bytes.size()));
        outcome.progress =
            hasHead ? reader.ReadBody(outcome.rest, budget) : reader.ReadHead(outcome.rest);
        if (!hasHead && outcome.progress == Progress::kDone) {
            hasHead = true;
            if (reader.HasBody())
                outcome.progress = reader.ReadBody(outcome.rest, budget);
        }
        Require(outcome.progress != Progress::kMore || outcome.rest.size() <= kLimits.head);
        Require(budget.Used() <= kBudget);
    } while (outcome.progress == Progress::kMore && !bytes.empty());
    if (outcome.progress == Progress::kDone) {
        outcome.seen = Seen(reader);
        Require(reader.Request().body.size() <=
                std::max(reader.TakeShare().Bytes(), BodyBudget::kUnbooked));
    } else if (outcome.progress == Progress::kFailed) {
        outcome.failure = reader.Failure().status;
        outcome.rest.clear();
    }
    outcome.rest += bytes;
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] == 't') {
        HttpRequest request;
        if (vms::host::ReadHttpTarget(bytes, request))
            CheckTarget(request);
        return 0;
    }
    const Outcome whole = Read(bytes, std::string_view::npos);
    const Outcome pieces = Read(bytes, data[0] % 16 + 1);
    // Where a request is refused, and so how, may depend on the pieces; what is taken may not.
    Require((whole.progress == Progress::kDone) == (pieces.progress == Progress::kDone));
    if (whole.progress == Progress::kDone)
        Require(whole == pieces);
    return 0;
}
