#pragma once

#include <cstdint>

// Every return code of the service: constant, value, name, sentence. This table is the only place; the
// documents, applications, the command line and the daemon's log read it.
// clang-format off
#define NTC_SERVICE_RETURN_CODES(row)                                                                       \
    /* the request */                                                                                       \
    row(kWrongOrder, 0x21080001u, "wrong-order", "The operation does not fit what the session is doing.")   \
    row(kUnknownSession, 0x21080002u, "unknown-session", "The service has no such session.")                \
    row(kMalformedRequest, 0x21080003u, "malformed-request", "The service cannot read the request.")        \
    row(kLimitReached, 0x21080004u, "limit-reached", "A limit of the service is reached.")                  \
    row(kShuttingDown, 0x21080005u, "shutting-down", "The service is shutting down.")                       \
    row(kSessionBusy, 0x21080006u, "session-busy", "The session is busy with another operation.")           \
    row(kAborted, 0x21080007u, "aborted", "The operation was ended before its time.")                       \
    row(kBadSettings, 0x21080008u, "bad-settings", "A setting of the account cannot be used.")              \
    row(kInternalFailure, 0x21080009u, "internal-failure", "The service failed, or ran out of memory.")     \
    /* the way to the server */                                                                             \
    row(kNameLookup, 0x21080101u, "name-lookup", "The server's name cannot be found.")                      \
    row(kConnectRefused, 0x21080102u, "connect-refused",                                                    \
        "The server cannot be reached, or refuses the connection.")                                         \
    row(kTimeOut, 0x21080103u, "time-out", "The server did not answer in time.")                            \
    row(kConnectionLost, 0x21080104u, "connection-lost", "The connection to the server was lost.")          \
    row(kServerRefused, 0x21080105u, "server-refused", "The server refuses to talk to this host.")          \
    row(kReplyMalformed, 0x21080106u, "reply-malformed", "The server's reply cannot be understood.")        \
    row(kTlsFailed, 0x21080107u, "tls-failed", "No TLS connection could be agreed on.")                     \
    row(kCertificateRefused, 0x21080108u, "certificate-refused",                                            \
        "The server's certificate is not to be trusted.")                                                   \
    row(kTlsNotOffered, 0x21080109u, "tls-not-offered", "The server offers no TLS.")                        \
    row(kCaUnusable, 0x2108010Au, "ca-unusable", "The file of trusted authorities cannot be used.")         \
    /* the log-in */                                                                                        \
    row(kLoginRefused, 0x21080201u, "login-refused", "The server refuses the user or the password.")        \
    row(kMailboxInUse, 0x21080202u, "mailbox-in-use", "The mailbox is in use by somebody else.")            \
    row(kNoCommonMethod, 0x21080203u, "no-common-method",                                                   \
        "The server offers no way to log in that is asked for.")                                            \
    row(kLoginRequired, 0x21080204u, "login-required", "The server wants a log-in first.")                  \
    /* the mail that is sent */                                                                             \
    row(kSenderRefused, 0x21080301u, "sender-refused", "The server refuses the sender.")                    \
    row(kRecipientRefused, 0x21080302u, "recipient-refused", "The server refuses a recipient.")             \
    row(kRecipientDeferred, 0x21080303u, "recipient-deferred",                                              \
        "The server refuses a recipient for the time being.")                                               \
    row(kMailRefused, 0x21080304u, "mail-refused", "The server refuses the mail.")                          \
    row(kTryLater, 0x21080305u, "try-later", "The server cannot do it now.")                                \
    row(kTooLarge, 0x21080306u, "too-large", "The mail is larger than is allowed.")                         \
    row(kHeaderNotComposed, 0x21080307u, "header-not-composed", "No header can be composed from the mail.") \
    row(kUnsafeText, 0x21080308u, "unsafe-text", "A text holds characters that must not stand there.")      \
    row(kBadAddress, 0x21080309u, "bad-address", "An address cannot be used.")                              \
    row(kNotConfirmed, 0x2108030Au, "not-confirmed",                                                        \
        "The mail was sent, but the server did not confirm it.")                                            \
    /* the mail that is received */                                                                         \
    row(kNoSuchMail, 0x21080401u, "no-such-mail", "The server has no such mail.")                           \
    row(kNoMoreMail, 0x21080402u, "no-more-mail", "There is no more mail.")                                 \
    row(kAnswerCut, 0x21080403u, "answer-cut", "The answer was cut to fit.")                                \
    row(kCommandRefused, 0x21080404u, "command-refused", "The server refuses the command.")                 \
    row(kNoUniqueIds, 0x21080405u, "no-unique-ids", "The server gives its mails no unique ids.")            \
    row(kNotDeleted, 0x21080406u, "not-deleted", "The server did not carry out all deletions.")             \
    row(kNoMorePart, 0x21080407u, "no-more-part", "The mail has no further part.")
// clang-format on

// What the operations of a session return besides 0, to compare with: velorin::return_code::kNoMoreMail.
// find_return_code() of velorin_mail_service.h gives name and sentence.
namespace velorin::return_code {

#define NTC_SERVICE_CONSTANT(constant, value, name, sentence) constexpr std::uint32_t constant = value;
NTC_SERVICE_RETURN_CODES(NTC_SERVICE_CONSTANT)
#undef NTC_SERVICE_CONSTANT

}  // namespace velorin::return_code
