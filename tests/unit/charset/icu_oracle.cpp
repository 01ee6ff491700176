#include "icu_oracle.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unorm2.h>

#include "icu_question.h"

namespace {

void check(UErrorCode code, const std::string& what)
{
    if (U_FAILURE(code)) throw std::runtime_error(what + ": " + u_errorName(code));
}

// Everything that was asked, written down at the end of the program when somebody wants it.
class Record {
public:
    ~Record()
    {
        if (path_ == nullptr) return;
        std::ofstream file(path_);
        for (const auto& [question, answer] : answers_)
            file << question << ' ' << answer << '\n';
        file.flush();
        if (!file) std::abort();
    }

    void add(const std::string& name, const std::string& question, const std::optional<std::string>& answer)
    {
        if (path_ == nullptr) return;
        answers_[name + ' ' + word_of(question)] = answer ? word_of(*answer) : kRefusal;
    }

private:
    const char* const path_ = std::getenv("VELORIN_ICU_ANSWERS");
    std::map<std::string, std::string> answers_;
};

Record& record()
{
    static Record the_record;
    return the_record;
}

std::optional<std::u16string> text_read(UConverter* converter, const std::string& octets)
{
    std::u16string text(octets.size() * 2 + 2, u'\0');
    UErrorCode code = U_ZERO_ERROR;
    const int length = ucnv_toUChars(converter, text.data(), static_cast<int>(text.size()), octets.data(),
                                     static_cast<int>(octets.size()), &code);
    if (U_FAILURE(code)) return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> octets_written(UConverter* converter, const std::u16string& text)
{
    std::string octets(text.size() * 8 + 16, '\0');
    UErrorCode code = U_ZERO_ERROR;
    const int length = ucnv_fromUChars(converter, octets.data(), static_cast<int>(octets.size()), text.data(),
                                       static_cast<int>(text.size()), &code);
    if (U_FAILURE(code)) return std::nullopt;
    if (length == 0 && !text.empty()) return std::nullopt;  // invisible characters are dropped without a word
    octets.resize(static_cast<std::size_t>(length));
    return octets;
}

}  // namespace

struct IcuOracle::Converter {
    std::string name;
    UConverter* icu;
};

IcuOracle::IcuOracle(const char* name) : converter_(new Converter{name, nullptr})
{
    UErrorCode code = U_ZERO_ERROR;
    converter_->icu = ucnv_open(name, &code);
    check(code, name);
    ucnv_setToUCallBack(converter_->icu, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &code);
    ucnv_setFromUCallBack(converter_->icu, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &code);
    check(code, name);
}

IcuOracle::~IcuOracle()
{
    ucnv_close(converter_->icu);
}

std::optional<std::u16string> IcuOracle::read(const std::string& octets)
{
    const std::optional<std::u16string> text = text_read(converter_->icu, octets);
    record().add(converter_->name + kReadMark, octets,
                 text ? std::optional(octets_of_text(*text)) : std::nullopt);
    return text;
}

std::optional<std::string> IcuOracle::write(const std::u16string& text)
{
    const std::optional<std::string> octets = octets_written(converter_->icu, text);
    record().add(converter_->name + kWriteMark, octets_of_text(text), octets);
    return octets;
}

std::u16string nfkc_of(const std::u16string& text)
{
    UErrorCode code = U_ZERO_ERROR;
    const UNormalizer2* const form = unorm2_getNFKCInstance(&code);
    check(code, "normalizer");
    std::u16string normal(text.size() * 4 + 4, u'\0');
    const int length = unorm2_normalize(form, text.data(), static_cast<int>(text.size()), normal.data(),
                                        static_cast<int>(normal.size()), &code);
    check(code, "normalize");
    normal.resize(static_cast<std::size_t>(length));
    record().add(kNfkcName, octets_of_text(text), octets_of_text(normal));
    return normal;
}
