// What being let in costs: passwords, which should be slow, and everything that each request needs,
// which should not.
//
//   hash, verify, verify/unknown   Argon2id of a new user, of a login, of a login of nobody
//   admit/KIND                     the gate, for a request with a cookie, a token, a signed address
//   digest/KIND                    a request of an RTSP player, without its nonce's making
//   posted/N                       N writes of the state, posted together and waited for
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <future>
#include <string>

#include "host/auth/Doors.h"
#include "host/auth/PasswordHash.h"
#include "host/http/HttpTarget.h"
#include "host/process/LogSink.h"

namespace {

using namespace vms::host;

/// Doors with some users and sessions on a state folder of their own.
class Place {
public:
    Place() {
        for (int i = 0; i < 500; ++i)
            token_ = AddToken("robot-" + std::to_string(i));
        const UserRecord user = doors_.Secrets().MakeUser("anna", Role::kAdmin, "password", 0);
        Wait([&](const Accounts::Done& done) { doors_.People().AddUser(user, done); });
        session_ = RandomSecret();
        Wait([&](const Accounts::Done& done) {
            doors_.People().BeginSession(user, session_, done);
        });
    }
    ~Place() { std::filesystem::remove_all(folder_); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    Doors& Door() { return doors_; }
    State& Kept() { return state_; }

    HttpRequest Request(const std::string& kind) {
        HttpRequest request;
        request.method = "GET";
        request.peerAddress = "10.0.0.1";
        std::string target = "/live/camera/0.ts?stream=1";
        if (kind == "cookie")
            request.headers.emplace_back("Cookie", "vms_session=" + session_);
        else if (kind == "token")
            request.authorization = "Bearer " + token_;
        else
            target = *doors_.Signer().Sign(target, doors_.Now() + 100);
        if (!ReadHttpTarget(target, request))
            std::abort();
        return request;
    }

private:
    template <class Function>
    static void Wait(Function function) {
        std::promise<std::string> outcome;
        function([&outcome](const std::string& problem) { outcome.set_value(problem); });
        if (!outcome.get_future().get().empty())
            std::abort();
    }
    std::string AddToken(const std::string& name) {
        const std::string secret = RandomSecret();
        Wait([&](const Accounts::Done& done) {
            doors_.People().AddToken(doors_.Secrets().MakeToken(name, Role::kViewer, secret, 0, 0),
                                     done);
        });
        return secret;
    }
    static std::string MakeFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "access-XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr)
            std::abort();
        return path;
    }

    const std::string folder_ = MakeFolder();
    LogSink log_{"bench", LogPrinting::kNothing};
    State state_{folder_ + "/state"};
    Doors doors_{HostConfig{}, state_, log_};
    std::string token_;
    std::string session_;
};

Place& ThePlace() {
    static Place place;
    return place;
}

void Hash(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(HashPassword("correct horse battery"));
}

void Verify(benchmark::State& state, const std::string& hash) {
    for (auto _ : state)
        benchmark::DoNotOptimize(IsPassword("correct horse battery", hash));
}

void Admit(benchmark::State& state, const std::string& kind) {
    const HttpRequest request = ThePlace().Request(kind);
    for (auto _ : state) {
        if (ThePlace().Door().Admit(request).refusal != 0)
            state.SkipWithError("refused");
    }
}

void Digest(benchmark::State& state, const std::string& algorithm) {
    DigestAccess access("realm");
    const auto now = DigestAccess::Clock::now();
    const DigestSecret secret{Md5Hex("anna:realm:p"), Sha256Hex("anna:realm:p")};
    auto header = *ReadDigestHeader(access.Challenges("10.0.0.1", false, now).back() +
                                    ", username=anna, uri=/live/a/0, response=0");
    header.algorithm = algorithm;
    header.qop = "";
    header.response = DigestResponse(header, "DESCRIBE", secret);
    size_t matched = 0;
    for (auto _ : state) {
        if (access.Check(header, "DESCRIBE", "10.0.0.1", {secret}, now, matched) !=
            DigestAccess::Outcome::kGood)
            state.SkipWithError("refused");
    }
}

void Posted(benchmark::State& state) {
    Database& data = ThePlace().Kept().Data();
    const auto write = [](SqlConnection& sql) {
        sql.Run("UPDATE users SET created = created + 1 WHERE name = 'anna'");
    };
    for (auto _ : state) {
        for (int64_t i = 1; i < state.range(0); ++i)
            data.Post(write, [](const std::string&) {});
        data.WriteNow(write);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

int main(int argc, char** argv) {
    const std::string hash = HashPassword("correct horse battery");
    benchmark::RegisterBenchmark("hash", Hash)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("verify", Verify, hash)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("verify/unknown", Verify, "")->Unit(benchmark::kMillisecond);
    for (const char* const kind : {"cookie", "token", "signed"})
        benchmark::RegisterBenchmark(("admit/" + std::string(kind)).c_str(), Admit, kind);
    for (const char* const algorithm : {"MD5", "SHA-256"})
        benchmark::RegisterBenchmark(("digest/" + std::string(algorithm)).c_str(), Digest,
                                     algorithm);
    benchmark::RegisterBenchmark("posted", Posted)->Arg(1)->Arg(100)->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
