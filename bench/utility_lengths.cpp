#include "utility_lengths.h"

#include <cstdlib>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "rows.h"
#include "turns.h"

namespace velorin_bench {

namespace {

using namespace velorin;

constexpr std::size_t kShortest = 1049;  // octets, of which a thousand times is 1 MiB
constexpr std::size_t kTimes[] = {1, 10, 100, 1000};
constexpr const char* kLengths[] = {"1 KiB", "10 KiB", "100 KiB", "1 MiB"};
constexpr double kGoal = 12;

// One operation that goes through a text; false when it fails.
struct Operation {
    const char* name;
    std::string begin;  // of the text
    std::string piece;  // what its length is made of
    std::function<bool(const std::string& text)> run;
};

bool encode(const std::string& text)
{
    char* encoded = nullptr;
    long length = 0;
    const int result = CntsMLUTLMimeUtility::InlineEncode(text.data(), static_cast<long>(text.size()),
                                                          encoded, length, CntsMLUTLMailType::eCharSetUtf8);
    CutlCPLBOSBoundary::MemFree(encoded);
    return result != 0 && static_cast<std::size_t>(length) > text.size();
}

bool decode(const std::string& text)
{
    char* decoded = nullptr;
    long length = 0;
    CntsMLUTLMailType::eCharSet set = CntsMLUTLMailType::eCharSetUnknown;
    const int result = CntsMLUTLMimeUtility::InlineDecode(text.data(), static_cast<long>(text.size()),
                                                          decoded, length, set, 0);
    CutlCPLBOSBoundary::MemFree(decoded);
    return result != 0 && static_cast<std::size_t>(length) < text.size() &&
           set == CntsMLUTLMailType::eCharSetUtf8;
}

bool walk(const std::string& text)
{
    const CntsMLUTLMailAddress list(text.c_str());
    CutlCPLBMString entry;
    CutlCPLBMString address;
    int position = 0;
    while (list.GetAddress(entry, position, ";,") != 0) {
        if (CntsMLUTLMailAddress::GetRealAddress(address, entry.GetString()) == 0) return false;
    }
    return static_cast<std::size_t>(position) == text.size();
}

bool filter(const std::string& text)
{
    const char* refused[] = {"example.com", "example.net", "someone@example.org", "mail.example.com"};
    constexpr unsigned char kRefuse = 2;
    return ntsMLUTLCheckFilter(text.c_str(), kRefuse, refused, 4) == 1;
}

const std::vector<Operation>& operations()
{
    static const std::string entry = "\"Reader, Number 1\" <reader.number1@example.org>, ";
    static const std::vector<Operation> all = {
        {"InlineEncode", "Date: today", "\r\nSubject: 来週の定例会議の資料をお送りします", encode},
        {"InlineDecode", "", "=?utf-8?B?5p2l6YCx44Gu5a6a5L6L5Lya6K2w44Gu6LOH5paZ44KS44GK6YCB44KK?=\r\n\t",
         decode},
        {"addresses walked", "", entry, walk},
        {"addresses filtered", "", entry, filter},
    };
    return all;
}

std::string text_of(const Operation& operation, std::size_t times)
{
    std::string text = operation.begin;
    const std::size_t pieces = (kShortest + operation.piece.size() - 1) / operation.piece.size() * times;
    for (std::size_t i = 0; i < pieces; ++i) {
        text += operation.piece;
    }
    return text;
}

}  // namespace

void register_lengths()
{
    for (const Operation& operation : operations()) {
        Turns turns;
        for (std::size_t step = 0; step < std::size(kTimes); ++step) {
            const auto run = [&operation, text = text_of(operation, kTimes[step])](long times) {
                for (; times > 0; --times) {
                    if (operation.run(text)) continue;
                    std::fprintf(stderr, "bench: %s failed\n", operation.name);
                    std::exit(1);
                }
            };
            turns.add(kLengths[step], run);
        }
        benchmark::RegisterBenchmark(operation.name, turns);
    }
}

void print_lengths(std::FILE* out, const MedianReporter& reporter)
{
    for (const Operation& operation : operations()) {
        std::vector<double> times;
        for (std::size_t step = 0; step < std::size(kTimes); ++step) {
            const double* const median = reporter.median(operation.name, kLengths[step]);
            if (median == nullptr) return;  // left out by an option
            times.push_back(*median / 1e3);
        }
        std::size_t worst = 1;
        std::string steps = "steps";
        for (std::size_t step = 1; step < times.size(); ++step) {
            if (times[step] / times[step - 1] > times[worst] / times[worst - 1]) worst = step;
            steps += goal_text(" ", times[step] / times[step - 1]);
        }
        print_row(out, {std::string(operation.name) + ", " + kLengths[worst] + " | " + kLengths[worst - 1],
                        times[worst], times[worst - 1], "us", goal_text("", kGoal), steps});
    }
}

}  // namespace velorin_bench
