// Md5Bench.cpp - the digest beside OpenSSL's, over the same bytes in the same run.
#include "MixedBytes.h"
#include "frame/MD5.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstddef>
#include <vector>

namespace {

void Md5Own(benchmark::State& state) {
    const std::vector<unsigned char> bytes = bench::MixedBytes(static_cast<std::size_t>(state.range(0)));
    MD5_CTX md5;
    for (auto _ : state) {
        md5.Update(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    unsigned char digest[16];
    md5.Final(digest);
    benchmark::DoNotOptimize(digest);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void Md5OpenSsl(benchmark::State& state) {
    const std::vector<unsigned char> bytes = bench::MixedBytes(static_cast<std::size_t>(state.range(0)));
    EVP_MD_CTX* md5 = EVP_MD_CTX_new();
    if (md5 == nullptr || EVP_DigestInit_ex(md5, EVP_md5(), nullptr) != 1) {
        state.SkipWithError("OpenSSL has no MD5 here");
    }
    for (auto _ : state) {
        EVP_DigestUpdate(md5, bytes.data(), bytes.size());
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    EVP_DigestFinal_ex(md5, digest, nullptr);
    benchmark::DoNotOptimize(digest);
    EVP_MD_CTX_free(md5);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

} // namespace

BENCHMARK(Md5Own)->Name("MD5/library")->Arg(1 << 20)->Arg(1 << 16)->Arg(1 << 10);
BENCHMARK(Md5OpenSsl)->Name("MD5/openssl")->Arg(1 << 20)->Arg(1 << 16)->Arg(1 << 10);
