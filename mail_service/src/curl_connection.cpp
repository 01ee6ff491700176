#include "curl_connection.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include <curl/curl.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>

#include "cancel_signal.h"
#include "opening_replies.h"
#include "return_codes.h"
#include "wiping_allocator.h"

namespace velorin::service {
namespace {

// Every full piece of this size gets a deadline of its own, so that a large slice may take its time on a slow
// line while a server that takes an octet a second does not.
constexpr std::size_t kSendPiece = 64u << 10;

// A server that has answered within this time is looked for that long, giving way to whoever wants the
// processor, before the thread sleeps: being woken takes about as long.
constexpr auto kMoment = std::chrono::microseconds(100);

constexpr long kReceivePiece = 64L << 10;  // octets that libcurl takes from the socket at once

std::size_t on_server_octets(char* octets, std::size_t size, std::size_t count, void* replies)
{
    // Anything but the full number makes libcurl give up.
    return static_cast<OpeningReplies*>(replies)->take(octets, size * count) ? size * count : 0;
}

const char* scheme_of(const ServerAccount& account)
{
    const bool tls = account.tls == TlsMode::from_start;
    if (account.protocol == ServerProtocol::smtp) return tls ? "smtps://" : "smtp://";
    return tls ? "pop3s://" : "pop3://";
}

// The name for EHLO travels as the path, where its brackets must not be taken for those of an address.
std::string escaped(const std::string& text)
{
    std::string out;
    for (const char octet : text) {
        switch (octet) {
        case '[':
            out += "%5B";
            break;
        case ']':
            out += "%5D";
            break;
        case ':':
            out += "%3A";
            break;
        default:
            out += octet;
            break;
        }
    }
    return out;
}

std::string url_of(const ServerAccount& account)
{
    const bool literal = account.server.find(':') != std::string::npos;
    std::string url = scheme_of(account);
    url += literal ? "[" + account.server + "]" : account.server;
    if (account.port != 0) url += ":" + std::to_string(account.port);
    url += "/";
    if (account.protocol == ServerProtocol::smtp) url += escaped(account.host_name);
    return url;
}

// All that libcurl knows to do with a password. Left to itself it takes GSSAPI before them for a user with a
// domain, and has nothing else when there is no ticket.
constexpr char kWithPassword[] = "AUTH=CRAM-MD5;AUTH=DIGEST-MD5;AUTH=NTLM;AUTH=LOGIN;AUTH=PLAIN";

bool may_have_ticket(const std::string& user)
{
    return user.find_first_of("/\\@") != std::string::npos;
}

const char* login_options_of(const ServerAccount& account, bool with_password)
{
    if (account.protocol == ServerProtocol::pop3) {
        return account.apop ? "AUTH=+APOP" : with_password ? kWithPassword : nullptr;
    }
    switch (account.auth) {
    case AuthKind::plain:
        return "AUTH=PLAIN";
    case AuthKind::login:
        return "AUTH=LOGIN";
    case AuthKind::cram_md5:
        return "AUTH=CRAM-MD5";
    case AuthKind::xoauth2:
        return "AUTH=XOAUTH2";
    default:
        return kWithPassword;
    }
}

std::uint32_t code_of_refused_login(const ServerAccount& account, const OpeningReplies& replies)
{
    // XOAUTH2 puts the reason of a refusal into one more challenge.
    if (!replies.refused()) return replies.challenged() ? kLoginRefused : kNoCommonMethod;
    if (account.protocol == ServerProtocol::pop3) {  // RFC 2449, 8.1.1 and RFC 3206
        if (replies.line().find("[IN-USE]") != std::string::npos) return kMailboxInUse;
        if (replies.line().find("[SYS/TEMP]") != std::string::npos) return kTryLater;
        return kLoginRefused;
    }
    return replies.code() < 500 ? kTryLater : kLoginRefused;
}

// libcurl has bounds of its own for what a server says, but no result of their own.
bool says_too_much(const char* error)
{
    const std::string_view text = error;
    return text.find("Too large response") != text.npos || text.find("too big to handle") != text.npos;
}

std::uint32_t code_of_failure(CURLcode result, const char* error, const ServerAccount& account,
                              const OpeningReplies& replies)
{
    if (replies.malformed() || says_too_much(error)) return kReplyMalformed;
    switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return kNameLookup;
    case CURLE_COULDNT_CONNECT:
        return kConnectRefused;
    case CURLE_OPERATION_TIMEDOUT:
        return kTimeOut;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return kCertificateRefused;
    case CURLE_SSL_CACERT_BADFILE:
        return kCaUnusable;
    case CURLE_USE_SSL_FAILED:
        return replies.offers_tls() ? kTlsFailed : kTlsNotOffered;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_NOTFOUND:
        return kTlsFailed;
    case CURLE_LOGIN_DENIED:
    case CURLE_AUTH_ERROR:
        return code_of_refused_login(account, replies);
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_REMOTE_ACCESS_DENIED:
        if (!replies.refused()) return kReplyMalformed;
        return replies.code() >= 400 && replies.code() < 500 ? kTryLater : kServerRefused;
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
        return kConnectionLost;
    case CURLE_URL_MALFORMAT:
        return kBadSettings;
    default:
        return kInternalFailure;
    }
}

bool connected(CURL* easy, const ServerAccount& account)
{
    curl_off_t microseconds = 0;
    const CURLINFO moment =
        account.tls == TlsMode::from_start ? CURLINFO_APPCONNECT_TIME_T : CURLINFO_CONNECT_TIME_T;
    return curl_easy_getinfo(easy, moment, &microseconds) == CURLE_OK && microseconds > 0;
}

class Options {
public:
    explicit Options(CURL* easy) : easy_(easy) {}
    template <typename Value>
    void set(CURLoption option, Value value)
    {
        if (curl_easy_setopt(easy_, option, value) != CURLE_OK) accepted_ = false;
    }
    bool accepted() const { return accepted_; }

private:
    CURL* easy_;
    bool accepted_ = true;
};

bool apply(CURL* easy, const ServerAccount& account, const OpeningRules& rules, bool log_in,
           bool with_password, char* error, OpeningReplies& replies)
{
    Options options(easy);
    options.set(CURLOPT_ERRORBUFFER, error);
    options.set(CURLOPT_CONNECT_ONLY, 1L);
    options.set(CURLOPT_URL, url_of(account).c_str());
    options.set(CURLOPT_PROTOCOLS_STR, "smtp,smtps,pop3,pop3s");
    options.set(CURLOPT_NOSIGNAL, 1L);
    options.set(CURLOPT_BUFFERSIZE, kReceivePiece);
    options.set(CURLOPT_QUICK_EXIT, 1L);  // closing never waits for a name look-up
    options.set(CURLOPT_VERBOSE, 0L);
    options.set(CURLOPT_PROXY, "");
    options.set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    options.set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
    options.set(CURLOPT_TCP_NODELAY, 1L);
    options.set(CURLOPT_HEADERFUNCTION, on_server_octets);
    options.set(CURLOPT_HEADERDATA, static_cast<void*>(&replies));
    // The deadlines are ours; libcurl's own only must not come first.
    options.set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(std::min(rules.connect_timeout, 1000000u)) + 60L);
    options.set(CURLOPT_SERVER_RESPONSE_TIMEOUT,
                static_cast<long>(std::min(account.command_timeout, 1000000u)) + 60L);
    if (account.server.find(':') == std::string::npos) {
        options.set(CURLOPT_IPRESOLVE,
                    static_cast<long>(account.ipv6 ? CURL_IPRESOLVE_V6 : CURL_IPRESOLVE_V4));
    }
    if (account.tls != TlsMode::none) {
        options.set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
        options.set(CURLOPT_SSLVERSION, static_cast<long>(account.tls13_only ? CURL_SSLVERSION_TLSv1_3
                                                                             : CURL_SSLVERSION_TLSv1_2));
        options.set(CURLOPT_SSL_VERIFYPEER, account.verify ? 1L : 0L);
        options.set(CURLOPT_SSL_VERIFYHOST, account.verify ? 2L : 0L);
        if (!rules.ca_file.empty()) {
            options.set(CURLOPT_CAINFO, rules.ca_file.c_str());
            options.set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
        }
    }
    if (log_in) {
        options.set(CURLOPT_USERNAME, account.user.c_str());
        if (account.protocol == ServerProtocol::smtp && account.auth == AuthKind::xoauth2) {
            options.set(CURLOPT_XOAUTH2_BEARER, account.password.c_str());
        } else {
            options.set(CURLOPT_PASSWORD, account.password.c_str());
        }
        const char* const login_options = login_options_of(account, with_password);
        if (login_options != nullptr) options.set(CURLOPT_LOGIN_OPTIONS, login_options);
    }
    return options.accepted();
}

// The handle keeps no log-in data after this. The connection does until it is closed, on the heap that is wiped.
void forget_login(CURL* easy)
{
    Options options(easy);
    options.set(CURLOPT_USERNAME, static_cast<const char*>(nullptr));
    options.set(CURLOPT_PASSWORD, static_cast<const char*>(nullptr));
    options.set(CURLOPT_XOAUTH2_BEARER, static_cast<const char*>(nullptr));
}

bool initialise_once()
{
    static std::once_flag once;
    static bool ready = false;
    // libcurl copies passwords. Where the program has initialised it before, its heap stays as it is.
    std::call_once(once, [] {
        ready = curl_global_init_mem(CURL_GLOBAL_DEFAULT, wiping_malloc, wiping_free, wiping_realloc,
                                     wiping_strdup, wiping_calloc) == CURLE_OK;
    });
    return ready;
}

}  // namespace

struct CurlConnection::Handles {
    CURLM* multi = nullptr;
    CURL* easy = nullptr;
    bool added = false;
    std::array<char, CURL_ERROR_SIZE> error{};  // of opening, in libcurl's words

    Handles() = default;
    Handles(const Handles&) = delete;
    Handles& operator=(const Handles&) = delete;
    ~Handles()
    {
        if (added) curl_multi_remove_handle(multi, easy);
        if (easy != nullptr) curl_easy_cleanup(easy);
        if (multi != nullptr) curl_multi_cleanup(multi);
    }
};

CurlConnection::CurlConnection(const CancelSignal& cancel, LastReply& last_reply)
    : cancel_(cancel), last_reply_(last_reply)
{
}

CurlConnection::~CurlConnection()
{
    CurlConnection::drop();
}

std::unique_ptr<ServerConnection> make_network_connection(const CancelSignal& cancel, LastReply& last_reply)
{
    return std::make_unique<CurlConnection>(cancel, last_reply);
}

std::uint32_t CurlConnection::open(const ServerAccount& account, const OpeningRules& rules, bool log_in)
{
    bool wants_ticket = false;
    if (!log_in || !account.log_in) return open_once(account, rules, Login::none, wants_ticket);
    const std::uint32_t code = open_once(account, rules, Login::strongest, wants_ticket);
    if (!wants_ticket) return code;
    const std::uint32_t second = open_once(account, rules, Login::with_password, wants_ticket);
    if (second == kNoCommonMethod) password_untried_ = true;
    return second;
}

std::uint32_t CurlConnection::open_once(const ServerAccount& account, const OpeningRules& rules, Login login,
                                        bool& wants_ticket)
{
    drop();
    wants_ticket = false;
    password_untried_ = false;
    const bool log_in = login != Login::none;
    if (!initialise_once()) return kInternalFailure;
    OpeningReplies replies(account.protocol, last_reply_);
    if (log_in) replies.hide(account.password);
    if (account.tls == TlsMode::on_request) replies.expect_stls();
    const bool pop3 = account.protocol == ServerProtocol::pop3;
    if (pop3 && login == Login::strongest && !account.apop && may_have_ticket(account.user))
        replies.stop_at_tickets();
    auto handles = std::make_unique<Handles>();
    handles->multi = curl_multi_init();
    handles->easy = curl_easy_init();
    if (handles->multi == nullptr || handles->easy == nullptr) return kInternalFailure;
    if (!apply(handles->easy, account, rules, log_in, login == Login::with_password, handles->error.data(),
               replies))
        return kInternalFailure;
    if (curl_multi_add_handle(handles->multi, handles->easy) != CURLM_OK) return kInternalFailure;
    handles->added = true;

    Deadline deadline = in_seconds(rules.connect_timeout);
    bool is_connected = false;
    const CURLMsg* done = nullptr;
    for (;;) {
        int running = 0;
        if (curl_multi_perform(handles->multi, &running) != CURLM_OK) return kInternalFailure;
        int queued = 0;
        done = curl_multi_info_read(handles->multi, &queued);
        if (done != nullptr) break;
        if (!is_connected && connected(handles->easy, account)) {
            is_connected = true;
            deadline = in_seconds(account.command_timeout);
        }
        if (replies.take_step()) deadline = in_seconds(account.command_timeout);
        if (cancel_.raised()) return kAborted;
        const int left = milliseconds_left(deadline);
        if (left == 0) return kTimeOut;
        curl_waitfd cancel = {cancel_.descriptor(), CURL_WAIT_POLLIN, 0};
        if (curl_multi_poll(handles->multi, &cancel, 1, left, nullptr) != CURLM_OK) return kInternalFailure;
    }
    const CURLcode result = done->data.result;
    if (result != CURLE_OK) {
        wants_ticket = replies.offers_ticket() && replies.malformed();
        const std::uint32_t code = code_of_failure(result, handles->error.data(), account, replies);
        password_untried_ =
            pop3 && !account.apop && code == kLoginRefused && replies.refused() && replies.offers_apop_only();
        return code;
    }
    // A server that offers no log-in at all lets libcurl report success.
    const bool smtp = account.protocol == ServerProtocol::smtp;
    if (smtp && log_in && !replies.login_granted()) return kNoCommonMethod;

    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(handles->easy, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK ||
        socket == CURL_SOCKET_BAD) {
        return kConnectionLost;
    }
    forget_login(handles->easy);
    curl_easy_setopt(handles->easy, CURLOPT_HEADERDATA, static_cast<void*>(nullptr));
    curl_easy_setopt(handles->easy, CURLOPT_HEADERFUNCTION, static_cast<curl_write_callback>(nullptr));
    socket_ = socket;
    capabilities_ = read_capabilities(replies.capability_lines());
    handles_ = std::move(handles);
    return 0;
}

std::uint32_t CurlConnection::wait(short events, Deadline deadline)
{
    for (;;) {
        const int left = milliseconds_left(deadline);
        if (left == 0) return kTimeOut;
        std::array<pollfd, 2> watched = {{{socket_, events, 0}, {cancel_.descriptor(), POLLIN, 0}}};
        const int ready = ::poll(watched.data(), watched.size(), left);
        if (cancel_.raised()) return kAborted;
        if (ready > 0 && watched[0].revents != 0) return 0;
    }
}

std::uint32_t CurlConnection::send(const char* octets, std::size_t count, Deadline deadline)
{
    if (!is_open()) return kConnectionLost;
    const auto patience = deadline - Clock::now();
    while (count > 0) {
        // After CURLE_AGAIN the same octets are offered again, as TLS wants it: only what was sent moves the
        // piece on.
        const std::size_t piece = std::min(count, kSendPiece);
        std::size_t done = 0;
        while (done < piece) {
            std::size_t sent = 0;
            const CURLcode result = curl_easy_send(handles_->easy, octets + done, piece - done, &sent);
            if (result == CURLE_OK) {
                done += sent;
                if (sent > 0) continue;
            } else if (result != CURLE_AGAIN) {
                return kConnectionLost;
            }
            if (const std::uint32_t code = wait(POLLOUT, deadline)) return code;
        }
        octets += piece;
        count -= piece;
        if (count > 0) deadline = Clock::now() + patience;
    }
    return 0;
}

std::uint32_t CurlConnection::receive_now(char* buffer, std::size_t capacity, std::size_t& count)
{
    count = 0;
    if (!is_open()) return kConnectionLost;
    const CURLcode result = curl_easy_recv(handles_->easy, buffer, capacity, &count);
    if (result == CURLE_AGAIN) {
        count = 0;
        return 0;
    }
    if (result == CURLE_OK && count > 0) return 0;
    drop();
    return kConnectionLost;
}

std::uint32_t CurlConnection::receive(char* buffer, std::size_t capacity, std::size_t& count,
                                      Deadline deadline)
{
    const auto begin = Clock::now();
    for (bool first = true;; first = false) {
        // Also where the server always has something to say, so that nobody ever waits.
        if (cancel_.raised()) {
            drop();
            return kAborted;
        }
        if (const std::uint32_t code = receive_now(buffer, capacity, count)) return code;
        if (count > 0) {
            if (!first) prompt_ = Clock::now() - begin <= kMoment;
            return 0;
        }
        if (prompt_ && Clock::now() - begin <= kMoment) {
            sched_yield();
            continue;
        }
        if (const std::uint32_t code = wait(POLLIN, deadline)) {
            drop();
            return code;
        }
    }
}

void CurlConnection::drop() noexcept
{
    if (handles_ == nullptr) return;
    // Nothing that libcurl may want to say on closing reaches the server behind this.
    ::shutdown(socket_, SHUT_RDWR);
    handles_.reset();
    socket_ = -1;
}

}  // namespace velorin::service
