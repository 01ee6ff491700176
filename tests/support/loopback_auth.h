// The server's side of logging in, for both protocols: it checks what it is told, as a mail server would.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace velorin_test {

using UserTable = std::map<std::string, std::string>;  // user to password, or to token for XOAUTH2

std::string base64_encode(std::string_view octets);
// False: not canonical base64 (RFC 4648, section 3.5); `octets` is then empty.
bool base64_decode(std::string_view text, std::string& octets);
std::string hmac_md5_hex(std::string_view key, std::string_view text);
std::string md5_hex(std::string_view text);

// "<random.seconds@localhost>", another one each time: the challenge of CRAM-MD5 and APOP.
std::string fresh_challenge();

// One AUTH exchange: PLAIN, LOGIN, CRAM-MD5 or XOAUTH2.
class SaslExchange {
public:
    enum class State {
        kChallenge,  // send `challenge()` and hand the client's line to next()
        kAccepted,
        kRefused,    // wrong user or password
        kMalformed,  // not base64, or not of the mechanism's form
        kCancelled,  // the client gave up with "*"
    };

    static bool knows(std::string_view mechanism);

    SaslExchange(std::string mechanism, const UserTable& users);

    // The initial response as it stands behind the mechanism; empty: none was sent ("=" is an empty one).
    State begin(std::string_view initial);
    State next(std::string_view line);

    const std::string& challenge() const { return challenge_; }  // base64
    const std::string& user() const { return user_; }            // as claimed

private:
    State ask(std::string_view challenge);
    State check(const std::string& response);
    State check_plain(const std::string& response);
    State check_cram(const std::string& response);
    State check_oauth(const std::string& response);
    State check_password(const std::string& password) const;

    const std::string mechanism_;
    const UserTable& users_;
    std::string challenge_;
    std::string cram_text_;
    std::string user_;
    bool have_user_ = false;    // LOGIN: the user's turn is over
    bool was_refused_ = false;  // XOAUTH2: the reason was sent, the client's empty line is awaited
};

}  // namespace velorin_test
