// Recordings of exchanges: the file that the command line prints, and envelopes on their way into it.
//   input   the kind of envelope, then the file, which is an envelope, too
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "capture.h"
#include "fuzz_input.h"
#include "fuzz_property.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"
#include "trace_text.h"

namespace {

using namespace velorin_fuzz;
using velorin_channel::EnvelopeKind;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// What is printed of a file.
//   out     sound: the file could be read to its end
std::string printed(std::string file, bool json, bool& sound)
{
    char* text = nullptr;
    std::size_t length = 0;
    {
        const File in(fmemopen(file.data(), file.size(), "rb"));
        const File out(open_memstream(&text, &length));
        require(in != nullptr && out != nullptr, "memory can be read and written as files");
        std::string error;
        velorin::cli::print_capture(in.get(), json, out.get(), error);
        sound = error.empty();
    }
    const std::string result(text, length);
    std::free(text);
    return result;
}

// Whatever a record holds, a terminal gets nothing but characters.
void check_lines(const std::string& text, bool json)
{
    const auto is_control = [](char octet) {
        const auto value = static_cast<unsigned char>(octet);
        return (value < 0x20 && octet != '\n') || value == 0x7F;
    };
    require(std::none_of(text.begin(), text.end(), is_control),
            "what is printed holds no control characters");
    require(text.empty() || text.back() == '\n', "the last line is whole");
    for (std::size_t at = 0; json && at < text.size();) {
        const std::size_t end = text.find('\n', at);
        require(text[at] == '{' && text[end - 1] == '}', "every line is an object");
        at = end + 1;
    }
}

template <typename Envelope>
void check_redacted(const std::string& octets, const std::string& redacted)
{
    Envelope envelope, recorded;
    if (!envelope.ParseFromString(octets)) return;
    require(recorded.ParseFromString(redacted), "a record of a sound envelope is sound");
    require(recorded.has_method_type() == envelope.has_method_type(), "a record has the method");
    std::string again;
    const bool smtp = std::is_same<Envelope, velorin::ntc_email_esu_smtp_method>::value;
    require(redact_envelope(smtp ? EnvelopeKind::kSmtp : EnvelopeKind::kPop3, redacted.data(),
                            redacted.size(), again),
            "a record is an envelope");
    require(again == redacted, "a record has nothing more to be taken out");
}

void check_secrets(const velorin::ntc_email_esu_pop3_settings& settings)
{
    require(!settings.has_c_passwd() || settings.c_passwd() == "***", "no password is recorded");
}

void check_envelope(const std::string& octets, bool smtp)
{
    std::string redacted = "before";
    const EnvelopeKind kind = smtp ? EnvelopeKind::kSmtp : EnvelopeKind::kPop3;
    if (!velorin_channel::redact_envelope(kind, octets.data(), octets.size(), redacted)) {
        require(redacted == "before", "what is malformed is not recorded");
        return;
    }
    if (smtp) {
        check_redacted<velorin::ntc_email_esu_smtp_method>(octets, redacted);
        velorin::ntc_email_esu_smtp_method recorded;
        if (!recorded.ParseFromString(redacted)) return;
        const auto& settings = recorded.create_instance_req().psmtpset();
        require(!settings.has_c_paswd() || settings.c_paswd() == "***", "no password is recorded");
        check_secrets(settings.p_pop3_settings());
        require(recorded.send_body_req().c_mail().my_part().p_buffer().empty(), "no body is recorded");
    } else {
        check_redacted<velorin::ntc_email_esu_pop3_method>(octets, redacted);
        velorin::ntc_email_esu_pop3_method recorded;
        if (!recorded.ParseFromString(redacted)) return;
        check_secrets(recorded.create_instance_req().c_settings());
        require(recorded.receive_body_res().c_mail().p_part().p_part().p_buffer().empty(),
                "no body is recorded");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const bool smtp = input.below(2) == 0;
    const std::string file = input.rest();
    check_envelope(file, smtp);
    if (file.empty()) return 0;
    bool sound = false;
    bool sound_as_json = false;
    check_lines(printed(file, false, sound), false);
    check_lines(printed(file, true, sound_as_json), true);
    require(sound == sound_as_json, "a file is sound or not, however it is printed");
    return 0;
}
