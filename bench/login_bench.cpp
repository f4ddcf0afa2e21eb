// What a login proof costs beside the least it could: as many SHA-256 digests of 32 bytes on one
// reused context. Both in one run; "digests" is their rate.
//
//   floor/iterations:N    N digests, nothing else
//   proof/iterations:N    TV_Sha256_1Encode with N iterations
//   key/iterations:N      GetAesKey with N iterations
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <array>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

constexpr char kPassword[] = "correct horse battery";
constexpr char kChallenge[] = "5f0c1d2e3b4a59687786958493a2b1c0";

void CountDigests(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Floor(benchmark::State& state) {
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    std::array<unsigned char, 32> digest{};
    bool good = EVP_DigestInit_ex(context, EVP_sha256(), nullptr) == 1;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            good = good && EVP_DigestInit_ex(context, nullptr, nullptr) == 1 &&
                   EVP_DigestUpdate(context, digest.data(), digest.size()) == 1 &&
                   EVP_DigestFinal_ex(context, digest.data(), nullptr) == 1;
        }
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(context);
    if (!good)
        state.SkipWithError("no SHA-256");
    CountDigests(state);
}

void Proof(benchmark::State& state) {
    std::array<char, 65> proof{};
    for (auto _ : state) {
        Tavero_Http_Encode::TV_Sha256_1Encode(proof.data(), "admin", kChallenge, kPassword, "salt",
                                              kChallenge, true, static_cast<int>(state.range(0)));
        benchmark::DoNotOptimize(proof);
    }
    CountDigests(state);
}

void Key(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Tavero_Http_Encode::GetAesKey(kPassword, kChallenge, "admin", true,
                                                               static_cast<int>(state.range(0))));
    }
    CountDigests(state);
}

}  // namespace

BENCHMARK(Floor)
    ->Name("floor")
    ->ArgNames({"iterations"})
    ->Arg(1)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Proof)
    ->Name("proof")
    ->ArgNames({"iterations"})
    ->Arg(1)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Key)
    ->Name("key")
    ->ArgNames({"iterations"})
    ->Arg(1)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
