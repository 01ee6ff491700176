// loopback-mailbox: an SMTP and POP3 server on 127.0.0.1 for the demo and for tests of programs.
//
// It listens, writes its ports where it is told to, and stops by itself: when its time is over, when the
// process it belongs to is gone, or on SIGTERM, SIGINT or SIGHUP.

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "loopback_pop3.h"
#include "loopback_smtp.h"
#include "loopback_store.h"

namespace {

using namespace velorin_test;

struct Settings {
    std::string folder;
    std::string mails;
    int smtp_port = 0;
    int pop3_port = 0;
    std::string ports_file;
    std::string ca_file;
    int lifetime = 600;  // seconds
    std::string user;
    std::string password;
    std::vector<std::string> auth = {"PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2"};
    bool auth_required = false;
    bool apop = false;
    bool tls = false;
    bool tls_required = false;
    bool expired = false;
    bool wrong_host = false;
    bool untrusted = false;
    std::string tls_max;
    bool discard = false;
    std::optional<std::uint64_t> size_limit;
    bool pipelining = false;
    bool no_ehlo = false;
    std::vector<std::string> refused;
    std::vector<std::string> smtp_rules;
    std::vector<std::string> pop3_rules;
    int parent_pid = 0;
    bool verbose = false;
};

void declare(CLI::App& app, Settings& settings)
{
    app.add_option("--folder", settings.folder,
                   "keep each mail as N.eml and its envelope as N.json in this folder");
    app.add_option("--mails", settings.mails,
                   "what the POP3 mailbox holds at first: the files NAME.eml of this folder, in the order of "
                   "their names; NAME is the unique id");
    app.add_option("--smtp-port", settings.smtp_port, "0: one that is free")->check(CLI::Range(0, 65535));
    app.add_option("--pop3-port", settings.pop3_port, "0: one that is free")->check(CLI::Range(0, 65535));
    app.add_option(
        "--ports-file", settings.ports_file,
        "written once all ports listen: smtp_port=, pop3_port=, with --tls smtps_port=, pop3s_port= and, "
        "with --ca-file, ca_file=, a line each");
    app.add_option("--ca-file", settings.ca_file, "write the certificate authority here (PEM)");
    app.add_option("--lifetime", settings.lifetime, "seconds until it stops by itself")
        ->check(CLI::Range(1, 86400));
    auto* const user = app.add_option("--user", settings.user, "who may log in");
    auto* const password = app.add_option("--password", settings.password, "made up for the test");
    user->needs(password);
    password->needs(user);
    app.add_option("--auth", settings.auth, "SASL mechanisms offered where there is a user")->delimiter(',');
    app.add_flag("--auth-required", settings.auth_required, "MAIL wants a login")->needs(user);
    app.add_flag("--apop", settings.apop, "POP3 offers APOP");
    auto* const tls =
        app.add_flag("--tls", settings.tls, "STARTTLS and STLS, and further ports with TLS from the start");
    app.add_flag("--tls-required", settings.tls_required, "logging in and MAIL want TLS")->needs(tls);
    app.add_flag("--expired", settings.expired, "the certificate has expired")->needs(tls);
    app.add_flag("--wrong-host", settings.wrong_host, "the certificate is for another host")->needs(tls);
    app.add_flag("--untrusted", settings.untrusted, "the certificate is not by the authority of --ca-file")
        ->needs(tls);
    app.add_option("--tls-max", settings.tls_max, "the newest TLS version")
        ->needs(tls)
        ->check(CLI::IsMember({"1.1", "1.2", "1.3"}));
    app.add_flag("--discard", settings.discard, "count the octets of mails and drop them");
    app.add_option("--size-limit", settings.size_limit, "SIZE offered and enforced, in octets");
    app.add_flag("--pipelining", settings.pipelining, "PIPELINING offered");
    app.add_flag("--no-ehlo", settings.no_ehlo, "HELO only");
    app.add_option("--refuse", settings.refused, "a recipient that is refused with 550; may be repeated");
    app.add_option("--rule", settings.smtp_rules,
                   "misbehave in SMTP: \"STEP[:NTH|:*][@OCTETS] ACTION...\", such as \"body@1000 close\" or "
                   "\"rcpt:2 reply 450 later\"; may be repeated");
    app.add_option("--pop3-rule", settings.pop3_rules, "the same in POP3");
    app.add_option("--parent-pid", settings.parent_pid, "stop when this process is gone")
        ->check(CLI::PositiveNumber);
    app.add_flag("-v,--verbose", settings.verbose, "the conversations on standard error at the end");
}

std::vector<Rule> rules_of(const std::vector<std::string>& texts)
{
    std::vector<Rule> rules;
    for (const std::string& text : texts) {
        std::string error;
        const std::optional<Rule> rule = parse_rule(text, error);
        if (!rule) throw std::runtime_error("rule \"" + text + "\": " + error);
        rules.push_back(*rule);
    }
    return rules;
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

// The signals that end the program, as a descriptor. To be made before any thread is.
int end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

// Readable once the process is gone; -1: there is none (errno). The C library declares this call for C only.
int process_descriptor(int pid)
{
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

// Until a signal comes, the process `parent` refers to is gone, or the time is over.
void wait_for_the_end(int signals, int parent, std::chrono::seconds lifetime)
{
    const auto deadline = std::chrono::steady_clock::now() + lifetime;
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return;
        pollfd watched[2] = {{signals, POLLIN, 0}, {parent, POLLIN, 0}};  // -1 is passed over
        if (poll(watched, 2, static_cast<int>(left.count())) > 0) return;
    }
}

// The two servers, and with TLS the two whose TLS is there from the start.
class Mailbox {
public:
    explicit Mailbox(const Settings& settings) : settings_(settings), maildrop_(std::make_shared<Maildrop>())
    {
        if (!settings.mails.empty()) add_mails(settings.mails, *maildrop_);
        if (!settings.folder.empty()) folder_ = std::make_unique<MailFolder>(settings.folder);
        if (settings.tls) {
            TlsOptions tls;
            tls.expired = settings.expired;
            tls.wrong_host = settings.wrong_host;
            tls.untrusted = settings.untrusted;
            if (settings.tls_max == "1.1") tls.min_version = tls.max_version = 0x0302;
            if (settings.tls_max == "1.2") tls.max_version = 0x0303;
            certificates_ = std::make_shared<const LoopbackCertificates>(tls);
        }
        smtp_ = std::make_unique<LoopbackSmtp>(smtp_options(false));
        pop3_ = std::make_unique<LoopbackPop3>(pop3_options(false));
        if (settings.tls) {
            smtps_ = std::make_unique<LoopbackSmtp>(smtp_options(true));
            pop3s_ = std::make_unique<LoopbackPop3>(pop3_options(true));
        }
    }

    void announce() const
    {
        std::string ports = "smtp_port=" + std::to_string(smtp_->port()) + "\n";
        ports += "pop3_port=" + std::to_string(pop3_->port()) + "\n";
        if (smtps_) ports += "smtps_port=" + std::to_string(smtps_->port()) + "\n";
        if (pop3s_) ports += "pop3s_port=" + std::to_string(pop3s_->port()) + "\n";
        if (certificates_ && !settings_.ca_file.empty()) {
            write(settings_.ca_file, certificates_->ca_pem());
            ports += "ca_file=" + settings_.ca_file + "\n";
        }
        if (!settings_.ports_file.empty()) write(settings_.ports_file, ports);
    }

    void stop()
    {
        smtp_->stop();
        pop3_->stop();
        if (smtps_) smtps_->stop();
        if (pop3s_) pop3s_->stop();
    }

    void print_conversations() const
    {
        print("SMTP", smtp_->conversations());
        print("POP3", pop3_->conversations());
        if (smtps_) print("SMTP over TLS", smtps_->conversations());
        if (pop3s_) print("POP3 over TLS", pop3s_->conversations());
    }

private:
    SmtpOptions smtp_options(bool implicit_tls)
    {
        SmtpOptions options;
        if (!implicit_tls) options.port = static_cast<std::uint16_t>(settings_.smtp_port);
        options.lifetime_ms = settings_.lifetime * 1000;
        options.ehlo = !settings_.no_ehlo;
        options.size_limit = settings_.size_limit;
        options.pipelining = settings_.pipelining;
        if (!settings_.user.empty()) {
            options.auth = settings_.auth;
            options.users[settings_.user] = settings_.password;
        }
        options.auth_required = settings_.auth_required;
        options.implicit_tls = implicit_tls;
        options.starttls = settings_.tls && !implicit_tls;
        options.tls_required = settings_.tls_required;
        options.certificates = certificates_;
        for (const std::string& address : settings_.refused)
            options.refused_recipients[address] = "550 5.1.1 no such mailbox";
        options.rules = rules_of(settings_.smtp_rules);
        options.discard = settings_.discard;
        options.keep_mails = false;
        if (!settings_.discard) {
            options.on_mail = [this](const LoopbackMail& mail, const Conversation& conversation) {
                if (folder_ && !folder_->keep(mail, conversation)) return false;
                if (mail.accepted) maildrop_->add(mail.octets());
                return true;
            };
        }
        return options;
    }

    Pop3Options pop3_options(bool implicit_tls)
    {
        Pop3Options options;
        if (!implicit_tls) options.port = static_cast<std::uint16_t>(settings_.pop3_port);
        options.lifetime_ms = settings_.lifetime * 1000;
        options.apop = settings_.apop;
        if (!settings_.user.empty()) {
            options.auth = settings_.auth;
            options.users[settings_.user] = settings_.password;
        }
        options.implicit_tls = implicit_tls;
        options.stls = settings_.tls && !implicit_tls;
        options.tls_required = settings_.tls_required;
        options.certificates = certificates_;
        options.maildrop = maildrop_;
        options.rules = rules_of(settings_.pop3_rules);
        return options;
    }

    static void write(const std::string& path, const std::string& text)
    {
        if (!write_file(path, text)) throw std::runtime_error(path + ": " + std::strerror(errno));
    }

    static void print(const char* name, const std::vector<Conversation>& conversations)
    {
        for (const Conversation& conversation : conversations)
            std::fprintf(stderr, "%s\n%s", name, conversation.text().c_str());
    }

    const Settings& settings_;
    std::shared_ptr<Maildrop> maildrop_;
    std::unique_ptr<MailFolder> folder_;
    std::shared_ptr<const LoopbackCertificates> certificates_;
    std::unique_ptr<LoopbackSmtp> smtp_;
    std::unique_ptr<LoopbackPop3> pop3_;
    std::unique_ptr<LoopbackSmtp> smtps_;
    std::unique_ptr<LoopbackPop3> pop3s_;
};

}  // namespace

int main(int argc, char** argv)
{
    Settings settings;
    CLI::App app("An SMTP and POP3 server on 127.0.0.1 for tests; it stops by itself.", "loopback-mailbox");
    declare(app, settings);
    CLI11_PARSE(app, argc, argv);
    try {
        const Descriptor signals(end_signals());
        const Descriptor parent(settings.parent_pid != 0 ? process_descriptor(settings.parent_pid) : -1);
        if (settings.parent_pid != 0 && parent.number() < 0)
            throw std::runtime_error("process " + std::to_string(settings.parent_pid) + ": " +
                                     std::strerror(errno));
        Mailbox mailbox(settings);
        mailbox.announce();
        wait_for_the_end(signals.number(), parent.number(), std::chrono::seconds(settings.lifetime));
        mailbox.stop();  // every conversation has an end then
        if (settings.verbose) mailbox.print_conversations();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "loopback-mailbox: %s\n", failure.what());
        return 1;
    }
    return 0;
}
