// The header block of an outgoing mail.
#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "CntsSMTPSendMail.h"
#include "CutlCPLBOSBoundary.h"

#include "scenario.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsSMTPSendMail;

const char* const kPartFailed = "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n";
const char* const kAddFailed = "<Error> : CntsSMTPSendMail::MakeHeader() AddBuffer[NG]: Line#\n";
const char* const kAddressesFailed =
    "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderAddress[NG]: Line#\n";
const char* const kBracketFailed = "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderBracket[NG]: Line#\n";

struct Block {
    char* data = nullptr;
    long length = 0;
    ~Block() { CutlCPLBOSBoundary::MemFree(data); }
};

// Composes a header as it is specified, step by step.
class Composer {
public:
    explicit Composer(Replay& replay) : replay_(replay) {}

    // One line; false when its append failed.
    bool line(const std::string& text)
    {
        if (failed_) return false;
        if (append(text)) return true;
        replay_.line(kAddFailed);
        failed_ = true;
        return false;
    }

    void addresses(const std::string& name, const std::vector<std::string>& entries)
    {
        if (failed_) return;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (replay_.fails(Call::reallocate)) return fail_addresses("():MemRealloc NG\n");
        }
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const std::string begin = i == 0 ? name + " " : "\t";
            const std::string end = i + 1 < entries.size() ? ",\r\n" : "\r\n";
            if (!append(begin + entries[i] + end)) return fail_addresses("():AddBuffer NG\n");
        }
    }

    void identifiers(const std::string& name, const std::vector<std::string>& entries)
    {
        if (failed_) return;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (append((i == 0 ? name + " " : "\t") + entries[i] + "\r\n")) continue;
            replay_.line("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
            replay_.line(kBracketFailed);
            failed_ = true;
            return;
        }
    }

    bool failed() const { return failed_; }
    const std::string& text() const { return text_; }

private:
    bool append(const std::string& text)
    {
        if (replay_.fails(Call::reallocate)) {
            replay_.line(kPartFailed);
            return false;
        }
        text_ += text;
        return true;
    }

    void fail_addresses(const char* text)
    {
        replay_.line(std::string("<Error> : CntsSMTPSendMail::MakeHeaderAddress") + text);
        replay_.line(kAddressesFailed);
        failed_ = true;
    }

    Replay& replay_;
    std::string text_;
    bool failed_ = false;
};

void compose_common(Composer& composer)
{
    composer.line("Date: Sat, 21 Nov 2026 12:00:00 +0900\r\n");
    composer.line("From: \"Device, Third Floor\" <device@example.org>\r\n");
    composer.line("Subject: a subject that is longer than a short string\r\n");
    composer.addresses("To:", {"first@example.org", "second@example.org"});
    composer.addresses("Cc:", {"third@example.org"});
    composer.addresses("Reply-To:", {"fifth@example.org"});
    composer.addresses("Sender:", {"sixth@example.org"});
    composer.addresses("Disposition-Notification-To:", {"seventh@example.org"});
}

void compose_references(Composer& composer)
{
    composer.identifiers("In-Reply-To:", {"<another@example.org>"});
    composer.identifiers("References:", {"<one@example.org>", "<another@example.org>"});
    composer.line("Mime-Version: 1.0\r\n");
}

void expect_header(Outcome& expected, const Composer& composer)
{
    expected.add("composed", composer.failed() ? 0 : 1);
    if (composer.failed()) {
        expected.add_block("header", nullptr, 0);
    } else {
        expected.add_block("header", composer.text().data(), static_cast<long>(composer.text().size()));
    }
}

Trial header_trial(const std::shared_ptr<CntsSMTPSendMail>& mail)
{
    Trial trial;
    trial.run = [mail](Outcome& given) {
        Block block;
        block.length = -1;
        given.add("composed", mail->MakeHeader(block.data, block.length));
        given.add_block("header", block.data, block.length);
    };
    Outcome nothing;
    nothing.add("composed", 0);
    nothing.add_block("header", nullptr, 0);
    trial.without_memory = {{nothing, {kAddFailed}}};
    trial.may_throw = false;
    return trial;
}

Scenario multipart()
{
    return {
        "outgoing header, multipart", {"CntsSMTPSendMail::MakeHeader(char*&, long&)"}, [](PlatformDouble&) {
            const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
            mail->SetContentCIAJWNETFAX(1);
            Trial trial = header_trial(mail);
            trial.model = [](Replay& replay, Outcome& expected) {
                Composer composer(replay);
                compose_common(composer);
                composer.identifiers("Message-Id:", {"<identifier@device.example.org>"});
                compose_references(composer);
                composer.line(
                    "Content-Type: multipart/mixed;\r\n\tboundary=\"----=_boundary_of_the_sweep\"\r\n");
                composer.line("Content-Transfer-Encoding: 8bit\r\n");
                composer.line("\r\n");
                composer.line("------=_boundary_of_the_sweep\r\n");
                composer.line("Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n");
                composer.line("Content-Transfer-Encoding: 7bit\r\n");
                composer.line("Content-X-CIAJWNETFAX: IGNORE\r\n");
                composer.line("\r\n");
                expect_header(expected, composer);
            };
            return trial;
        }};
}

constexpr const char* kFreshIdentifier = "<19700102030405XXXXXXXX.DEVICE@example.org>";

void fix_clock(PlatformDouble& platform)
{
    std::tm time = {};
    time.tm_year = 70;
    time.tm_mon = 0;
    time.tm_mday = 2;
    time.tm_hour = 3;
    time.tm_min = 4;
    time.tm_sec = 5;
    platform.local_time(time);
}

// The eight digits of the microseconds, which are the clock's, made alike.
std::string without_microseconds(const char* text, long length)
{
    std::string masked(text != nullptr ? std::string(text, static_cast<std::size_t>(length)) : "");
    const std::size_t at = masked.find(".DEVICE");
    if (at != std::string::npos && at >= 8) masked.replace(at - 8, 8, "XXXXXXXX");
    return masked;
}

// The identifier that is made: empty when there is no memory for it.
std::string replay_identifier(Replay& replay)
{
    const bool no_time = replay.fails(Call::local_time);
    if (replay.fails(Call::sub_alloc)) return std::string();
    replay.fails(Call::pool_free);
    std::string identifier = kFreshIdentifier;
    if (no_time) identifier.replace(1, 14, "19000100000000");  // a time of nothing but zeros
    return identifier;
}

Scenario text_mail()
{
    return {"outgoing header, text with a fresh identifier", {}, [](PlatformDouble& platform) {
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                mail->m_eContentType = velorin::CntsMLUTLMailType::eContentTypeTextPlain;
                mail->SetMessageID("");
                fix_clock(platform);
                Trial trial = header_trial(mail);
                trial.run = [mail](Outcome& given) {
                    Block block;
                    block.length = -1;
                    given.add("composed", mail->MakeHeader(block.data, block.length));
                    const std::string header = without_microseconds(block.data, block.length);
                    given.add_block("header", block.data != nullptr ? header.data() : nullptr, block.length);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    Composer composer(replay);
                    compose_common(composer);
                    if (!composer.failed()) {
                        const std::string identifier = replay_identifier(replay);
                        if (!identifier.empty()) composer.identifiers("Message-Id:", {identifier});
                    }
                    compose_references(composer);
                    composer.line("Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n");
                    composer.line("Content-Transfer-Encoding: 7bit\r\n");
                    composer.line("\r\n");
                    expect_header(expected, composer);
                };
                // Without memory for the identifier the header is composed without it.
                Replay nothing_fails({}, {});
                Composer without(nothing_fails);
                compose_common(without);
                compose_references(without);
                without.line("Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n");
                without.line("Content-Transfer-Encoding: 7bit\r\n");
                without.line("\r\n");
                Outcome no_identifier;
                expect_header(no_identifier, without);
                trial.without_memory.push_back({no_identifier, {}});
                trial.may_throw = true;  // the masking of the clock
                return trial;
            }};
}

Scenario identifier(const char* name, const char* from, const char* fresh)
{
    return {
        name,
        {"CntsSMTPSendMail::CreateMessageID(CntsMLUTLMailAddress const&, CutlCPLBMString&)"},
        [=](PlatformDouble& platform) {
            fix_clock(platform);
            const auto mail = std::make_shared<CntsSMTPSendMail>();
            mail->m_cFrom.m_cAddress.CopyString(from, -1);
            Trial trial;
            trial.run = [=](Outcome& given) {
                CutlCPLBMString identifier("what was there before");
                given.add("made", mail->CreateMessageID(mail->m_cFrom, identifier));
                const std::string text = without_microseconds(identifier.GetString(), identifier.GetLength());
                given.add_block("identifier", text.data(), static_cast<long>(text.size()));
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                const bool is_whole = std::string(from).find('@') == std::string::npos;
                const bool no_time = replay.fails(Call::local_time);
                if (is_whole)
                    replay.line("<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n");
                const bool fails = replay.fails(Call::sub_alloc);
                if (!fails) replay.fails(Call::pool_free);
                std::string made = fails ? "" : fresh;
                if (no_time && !fails) made.replace(1, 14, "19000100000000");
                expected.add("made", fails ? 0 : 1);
                expected.add_block("identifier", made.data(), static_cast<long>(made.size()));
            };
            Outcome none;
            none.add("made", 0);
            none.add_block("identifier", "", 0);
            trial.without_memory = {
                {none, {}}, {none, {"<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n"}}};
            return trial;
        }};
}

Scenario addresses()
{
    return {
        "outgoing header, addresses appended",
        {"CntsSMTPSendMail::MakeHeaderAddress(CntsMLUTLMailAddress const&, char const*, char*&, char*, "
         "long&, "
         "long&)"},
        [](PlatformDouble&) {
            const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
            Trial trial;
            trial.run = [=](Outcome& given) {
                Block block;
                long count = -1;
                char work[1024];
                given.add("begun", mail->AddBuffer(block.data, block.length, "X: y\r\n", 6));
                given.add("appended",
                          mail->MakeHeaderAddress(mail->m_cTo, "To:", block.data, work, count, block.length));
                given.add("count", count);
                given.add_block("header", block.data, block.length);
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                const bool begun = !replay.fails(Call::reallocate);
                if (!begun) replay.line(kPartFailed);
                std::string text = begun ? "X: y\r\n" : "";
                std::size_t done = 0;
                const char* failure = nullptr;
                for (int slot = 0; slot < 2 && failure == nullptr; ++slot) {
                    if (replay.fails(Call::reallocate)) failure = "MemRealloc NG\n";
                }
                std::string lines;
                for (const char* const line : {"To: first@example.org,\r\n", "\tsecond@example.org\r\n"}) {
                    if (failure != nullptr) break;
                    if (replay.fails(Call::reallocate)) {
                        replay.line(kPartFailed);
                        failure = "AddBuffer NG\n";
                    } else {
                        lines += line;
                        ++done;
                    }
                }
                if (failure != nullptr)
                    replay.line(std::string("<Error> : CntsSMTPSendMail::MakeHeaderAddress():") + failure);
                if (failure == nullptr) text += lines;
                expected.add("begun", begun ? 1 : 0);
                expected.add("appended", failure == nullptr ? 1 : 0);
                expected.add("count", failure == nullptr ? 2 : -1);
                const bool has_block = begun || done > 0;  // a block that came to be stays the caller's
                expected.add_block("header", has_block ? text.data() : nullptr,
                                   static_cast<long>(text.size()));
            };
            return trial;
        }};
}

Scenario identifiers()
{
    return {"outgoing header, identifiers appended",
            {"CntsSMTPSendMail::MakeHeaderBracket(CutlCPLBMString const&, char const*, char*&, long&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    Block block;
                    given.add("appended", mail->MakeHeaderBracket(mail->m_cReferences,
                                                                  "References:", block.data, block.length));
                    given.add_block("header", block.data, block.length);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    std::string text;
                    bool has_block = false;
                    bool fails = false;
                    for (const char* const line :
                         {"References: <one@example.org>\r\n", "\t<another@example.org>\r\n"}) {
                        fails = replay.fails(Call::reallocate);
                        if (fails) break;
                        has_block = true;
                        text += line;
                    }
                    if (fails) {
                        replay.line(kPartFailed);
                        replay.line("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
                        text.clear();
                    }
                    expected.add("appended", fails ? 0 : 1);
                    expected.add_block("header", has_block ? text.data() : nullptr,
                                       static_cast<long>(text.size()));
                };
                return trial;
            }};
}

}  // namespace

Scenarios smtp_header_scenarios()
{
    return {multipart(),
            text_mail(),
            identifier("message identifier, with a domain", "device@example.org", kFreshIdentifier),
            identifier("message identifier, without a domain", "device", "<19700102030405XXXXXXXX.DEVICE>"),
            addresses(),
            identifiers()};
}

}  // namespace velorin_test::sweep
