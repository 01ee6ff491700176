// The oracle where ICU is not at hand: what it answered on the machine of the build. A question that was not asked
// there fails the test.
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <unordered_map>

#include "icu_oracle.h"
#include "icu_question.h"

namespace {

using Answers = std::unordered_map<std::string, std::string>;

Answers read_answers()
{
    const char* const path = std::getenv("VELORIN_ICU_ANSWERS");
    if (path == nullptr) throw std::runtime_error("VELORIN_ICU_ANSWERS is not set");
    std::ifstream file(path);
    Answers answers;
    std::string line;
    while (std::getline(file, line)) {
        const std::size_t last = line.rfind(' ');
        answers.emplace(line.substr(0, last), line.substr(last + 1));
    }
    if (answers.empty()) throw std::runtime_error(std::string("no answers in ") + path);
    return answers;
}

unsigned digit_of(char c)
{
    return static_cast<unsigned>(c >= 'A' ? c - 'A' + 10 : c - '0');
}

std::optional<std::string> answer_to(const std::string& name, const std::string& question)
{
    static const Answers answers = read_answers();
    const auto found = answers.find(name + ' ' + word_of(question));
    if (found == answers.end())
        throw std::runtime_error("ICU was not asked: " + name + ' ' + word_of(question));
    if (found->second == kRefusal) return std::nullopt;
    std::string octets;
    for (std::size_t at = 1; at + 1 < found->second.size(); at += 2)
        octets += static_cast<char>(
            static_cast<unsigned char>(digit_of(found->second[at]) << 4 | digit_of(found->second[at + 1])));
    return octets;
}

std::u16string text_of(const std::string& octets)
{
    std::u16string text;
    for (std::size_t at = 0; at + 1 < octets.size(); at += 2)
        text += static_cast<char16_t>(static_cast<unsigned char>(octets[at]) << 8 |
                                      static_cast<unsigned char>(octets[at + 1]));
    return text;
}

}  // namespace

struct IcuOracle::Converter {
    std::string name;
};

IcuOracle::IcuOracle(const char* name) : converter_(new Converter{name}) {}

IcuOracle::~IcuOracle() = default;

std::optional<std::u16string> IcuOracle::read(const std::string& octets)
{
    const std::optional<std::string> answer = answer_to(converter_->name + kReadMark, octets);
    return answer ? std::optional(text_of(*answer)) : std::nullopt;
}

std::optional<std::string> IcuOracle::write(const std::u16string& text)
{
    return answer_to(converter_->name + kWriteMark, octets_of_text(text));
}

std::u16string nfkc_of(const std::u16string& text)
{
    return text_of(answer_to(kNfkcName, octets_of_text(text)).value());
}
