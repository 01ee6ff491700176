#pragma once

#include <cstdint>
#include <string>

// Marks what libvelorin_mail_service.so offers; everything else stays inside it.
#define VELORIN_SERVICE_API __attribute__((visibility("default")))

namespace velorin {

// How a mail service behaves. A time or a limit of 0 stands for its default.
struct VELORIN_SERVICE_API MailServiceOptions {
    std::string ca_file;                 // PEM, authorities to trust; empty: SSL_CERT_FILE, else the system's
    std::uint32_t connect_timeout = 30;  // seconds, name look-up to connected
    std::uint32_t command_timeout = 60;  // seconds to a reply, where the account names no time-out of its own
    std::uint32_t data_timeout = 600;    // seconds from the final dot to the server's verdict
    std::uint32_t max_sessions = 64;     // sessions in all
    std::uint32_t max_sessions_per_user = 16;  // sessions of one user id
    std::uint32_t idle_timeout = 600;          // seconds without an operation until a session is dropped
    std::uint32_t max_request = 64u << 20;     // octets of one request
    std::uint32_t max_kept = 1u << 20;         // octets of settings that one session keeps
    std::uint32_t max_recipients = 1000;       // recipients of one mail
    bool log_events = false;                   // one trace line per event, as the daemon writes them
};

// Runs the mail service inside this process while the object lives; sessions of this process then use it
// instead of a daemon. Destroy it when no session object is left: what is still connected then is dropped
// without a final dot. A process that forks uses it in the parent only.
class VELORIN_SERVICE_API EmbeddedMailService {
public:
    EmbeddedMailService();
    explicit EmbeddedMailService(const MailServiceOptions& options);
    ~EmbeddedMailService();
    EmbeddedMailService(const EmbeddedMailService&) = delete;
    EmbeddedMailService& operator=(const EmbeddedMailService&) = delete;

    //   result  false when the service could not start; error() says why
    bool running() const;
    //   result  one sentence in US-ASCII, valid while the object lives; "" while running() is true
    const char* error() const;

private:
    struct State;
    State* state_;  // owned; null when memory ran out
};

// Content type of a mail's own part (CntsMLUTLMailPart::m_eContentType) with which an application asks
// ReceiveHeader for the mail as the server has it. No header member is filled then, the mail has one part of
// this content type, and ReceiveBody gives every octet of the mail, its header first. No header of a mail ever
// leads to this number.
constexpr std::int32_t kContentTypeWholeMail = 0x00524157;

struct VELORIN_SERVICE_API ReturnCode {
    std::uint32_t code;
    const char* name;      // lower case, words joined by hyphens
    const char* sentence;  // for a person: what happened
};

// What a status means.
//   in      code: as a session operation returned it
//   result  a row of a constant table; null for 0 and for a code that neither the service nor the library
//   gives
VELORIN_SERVICE_API const ReturnCode* find_return_code(std::uint32_t code);

// Asks the service (embedded or daemon) for the last reply line that a server gave to a session of this
// process. Operations that talk to a server forget the line before, so it belongs to the last such operation.
//   result  printable US-ASCII, at most 512 octets, without a line end; empty when there is none or no
//   service answers
VELORIN_SERVICE_API std::string last_server_reply();

}  // namespace velorin
