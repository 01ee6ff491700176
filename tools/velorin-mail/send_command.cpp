#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include <unistd.h>

#include "commands.h"
#include "compose.h"
#include "delivery.h"
#include "input_file.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "session.h"

namespace velorin::cli {

namespace {

// Everything about a mail that is known before a connection is made.
struct PreparedMail {
    Account account;
    CntsSMTPSendMail mail;
    MailText text;
    std::vector<Attachment> attachments;
    std::uint64_t octets = 0;
};

bool read_text(const Options& options, const std::string& charset, MailText& text, Failure& failure)
{
    const MailOptions& mail = options.mail;
    if (mail.has_text_string) {
        Spool source;
        if (!source.write(mail.text_string.data(), mail.text_string.size()) || !source.rewind())
            return fail(failure, kExitIo, "text",
                        std::string("cannot keep the text: ") + std::strerror(errno));
        return prepare_text(source, "--text-string", charset, text, failure);
    }
    if (mail.text_file == "-") {
        if (::isatty(STDIN_FILENO) == 1 && !options.quiet)
            std::fputs("velorin-mail: type the text, end it with Ctrl-D at the beginning of a line\n",
                       stderr);
        DescriptorSource source(STDIN_FILENO);
        return prepare_text(source, "standard input", charset, text, failure);
    }
    Descriptor file;
    if (!open_input(mail.text_file, "text", 0, file, failure)) return false;
    DescriptorSource source(file.get());
    return prepare_text(source, mail.text_file, charset, text, failure);
}

bool prepare(const Options& options, PreparedMail& prepared, Failure& failure)
{
    const MailOptions& mail = options.mail;
    return resolve_account(options, prepared.account, failure) &&
           compose_header(mail, prepared.account, prepared.mail, failure) &&
           inspect_attachments(mail.attachments, prepared.account.charset, prepared.attachments, failure) &&
           read_text(options, prepared.account.charset, prepared.text, failure) &&
           compose_content(prepared.text, mail.fax, !prepared.attachments.empty(), prepared.mail, failure) &&
           measure_mail(prepared.mail, prepared.text, mail.fax, prepared.attachments, prepared.octets,
                        failure);
}

void note_renamed_files(const PreparedMail& prepared)
{
    for (const Attachment& attachment : prepared.attachments)
        if (attachment.renamed)
            std::fprintf(stderr, "velorin-mail: note: %s is attached under the name %s\n",
                         printable(attachment.path).c_str(), printable(attachment.shown_name).c_str());
}

class Sending {
public:
    Sending(const Options& options, PreparedMail& prepared, Progress& progress, Failure& failure)
        : options_(options), prepared_(prepared), progress_(progress), failure_(failure)
    {
    }

    bool run()
    {
        OpenSession open;
        if (!open_session(prepared_.account, open, failure_)) return false;
        CntsSMTPBoundary& session = *open.session;
        if (!step("connect", session.Connect())) {
            if (failure_.code != 0) failure_.where = server_text(prepared_.account);
            return false;
        }
        say("connected to " + server_text(prepared_.account));
        const std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
        if (!step("size check",
                  session.JudgeSizeofData(static_cast<unsigned long>(std::min(prepared_.octets, limit))))) {
            failure_.where = "of " + std::to_string(prepared_.octets) + " octets";
            failure_.server_reply.clear();  // judged without asking the server
            return false;
        }

        set_stage(Stage::kSending);
        if (send_content(session)) {
            set_stage(Stage::kAwaitingVerdict);
            say("everything is sent, the server's verdict is awaited");
            const bool accepted = step("close", session.Close(prepared_.mail));
            if (accepted) set_stage(Stage::kSent);
            progress_.finish();
            return accepted;
        }
        // Whatever went wrong, nothing of the mail may be delivered.
        session.Abort();
        progress_.finish();
        set_stage(Stage::kNothingSent);
        return false;
    }

private:
    // Once everything is sent, a signal changes nothing any more: the mail's fate is the server's word.
    bool step(const char* name, std::uint32_t code)
    {
        const bool asked_to_stop = interrupting_signal() != 0 && stage() != Stage::kAwaitingVerdict;
        if (code == 0 && !asked_to_stop) return true;
        if (asked_to_stop)
            return fail(failure_, kExitSignal + interrupting_signal(), name, interrupted_sentence(stage()));
        return fail_with_code(failure_, name, code);
    }

    bool send_content(CntsSMTPBoundary& session)
    {
        CntsSMTPSendMail& mail = prepared_.mail;
        const std::string boundary =
            mail.m_cBoundaryString.GetString() == nullptr ? "" : mail.m_cBoundaryString.GetString();
        const auto parts = static_cast<unsigned>(prepared_.attachments.size()) + 1;
        Delivery delivery(session, mail, progress_, failure_);
        progress_.begin(prepared_.octets, parts);
        progress_.part(1, "text");
        say("sending the header");
        if (!step("header", session.SendHeader(mail))) return false;
        say("sending the text");
        const bool text_sent = options_.mail.fax ? delivery.send_fax_text(prepared_.text, boundary)
                                                 : delivery.send_text(prepared_.text);
        if (!text_sent) return false;
        unsigned number = 1;
        for (const Attachment& attachment : prepared_.attachments) {
            progress_.part(++number, attachment.shown_name);
            say("sending " + attachment.shown_name + " as " + attachment.type);
            if (!delivery.send_attachment(attachment, boundary)) return false;
        }
        return true;
    }

    void say(const std::string& text) const
    {
        if (options_.verbose) std::fprintf(stderr, "velorin-mail: %s\n", printable(text).c_str());
    }

    const Options& options_;
    PreparedMail& prepared_;
    Progress& progress_;
    Failure& failure_;
};

}  // namespace

int run_send(const Options& options)
{
    Outcome outcome;
    outcome.command = "send";
    Failure failure;
    Progress progress(!options.quiet && !options.json && !options.verbose);
    PreparedMail prepared;
    bool sent = prepare(options, prepared, failure);
    if (sent) {
        if (!options.quiet) note_renamed_files(prepared);
        outcome.message_id = prepared.mail.m_cMessageID.GetString();
        progress.begin(prepared.octets, 1);
        sent = Sending(options, prepared, progress, failure).run();
    }
    outcome.octets = sent ? prepared.octets : progress.octets();
    outcome.seconds = progress.seconds();
    if (sent && !options.json && !options.quiet && ::isatty(STDERR_FILENO) == 1)
        std::fprintf(stderr, "velorin-mail: sent %s, %s in %.1f s\n", outcome.message_id.c_str(),
                     readable_octets(static_cast<double>(prepared.octets)).c_str(), outcome.seconds);
    return report(outcome, sent ? nullptr : &failure, options.json);
}

}  // namespace velorin::cli
