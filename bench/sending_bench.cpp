// What the library itself takes to send a piece of an attachment: encoding it, and carrying it to a service
// in the same process that does nothing with it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CutlCPLBOSBoundary.h"
#include "channel_server.h"
#include "ntc_email.h"

namespace {

using namespace velorin;

constexpr long kLine = 57;       // octets that make one line of base64
constexpr int kCharacters = 76;  // of such a line

std::vector<char> octets_of(long count)
{
    std::vector<char> octets(static_cast<std::size_t>(count));
    unsigned state = 1;
    for (char& octet : octets) {
        state = state * 1664525u + 1013904223u;
        octet = static_cast<char>(static_cast<unsigned char>(state >> 24));
    }
    return octets;
}

void encode(benchmark::State& state)
{
    const std::vector<char> octets = octets_of(kLine * state.range(0));
    for (auto _ : state) {
        char* text = nullptr;
        long length = 0;
        if (CntsMLUTLMimeUtility::ToB64(octets.data(), static_cast<long>(octets.size()), text, length,
                                        kCharacters) == 0) {
            state.SkipWithError("memory ran out");
            break;
        }
        benchmark::DoNotOptimize(*text);
        CutlCPLBOSBoundary::MemFree(text);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(octets.size()));
}

// Answers nothing, which is an answer with the code 0.
bool swallow(const velorin_channel::Caller&, const char*, std::uint32_t, char*, std::uint32_t,
             std::uint32_t& length)
{
    length = 0;
    return true;
}

void send_part_body(benchmark::State& state)
{
    CntsSMTPBoundary session{CntsSMTPSettings(nts_smtp_settings())};
    CntsSMTPSendMail mail;
    auto* const part = new CntsSMTPSendMailPart;
    mail.SetPart(part);
    long length = (kCharacters + 2) * state.range(0);
    void* block = CutlCPLBOSBoundary::MemAllocate(static_cast<std::size_t>(length));
    if (block == nullptr) return state.SkipWithError("memory ran out");
    std::memset(block, 'A', static_cast<std::size_t>(length));
    if (part->SetBuffer(block, length) == 0) return state.SkipWithError("the part takes no octets");
    for (auto _ : state) {
        if (session.SendPartBody(mail) != 0) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(part->m_nLength));
}

}  // namespace

BENCHMARK(encode)->ArgName("lines")->Arg(256)->Arg(2048)->Arg(8192)->Unit(benchmark::kMicrosecond);
BENCHMARK(send_part_body)
    ->ArgName("lines")
    ->Arg(1)
    ->Arg(256)
    ->Arg(2048)
    ->Arg(8192)
    ->Unit(benchmark::kMicrosecond);

int main(int count, char** arguments)
{
    const velorin_channel::LocalEndpoint service("ntc_email_smtp", swallow);
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
