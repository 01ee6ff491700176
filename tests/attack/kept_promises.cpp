#include "kept_promises.h"

#include <sstream>

#include <gtest/gtest.h>

#include "attack_mails.h"

namespace velorin_test {

std::string body_of(const std::string& id)
{
    constexpr int kLines = 100;
    std::string body;
    for (int line = 0; line < kLines; ++line)
        body += "line " + std::to_string(line) + " of " + id + "\r\n";
    return body;
}

std::string mail_of(const std::string& uid)
{
    return "Subject: " + uid + "\r\n\r\n" + body_of(uid);
}

void KeptPromises::take(const std::string& output)
{
    const std::size_t whole = output.rfind('\n');
    std::istringstream lines(whole == std::string::npos ? "" : output.substr(0, whole));
    std::set<std::string> of_session;
    std::string word;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string id;
        words >> word >> id;
        if (word == "begun") {
            begun_.insert(id);
        } else if (word == "sent") {
            EXPECT_TRUE(sent_.insert(id).second) << id;
        } else if (word == "whole") {
            ++read_;
        } else if (word == "asked") {
            asked_.insert(id);
            of_session.insert(id);
        } else if (word == "closed") {
            ++closed_;
            deleted_.insert(of_session.begin(), of_session.end());
            of_session.clear();
        } else {
            EXPECT_TRUE(word == "up" || word == "slowest") << line;
        }
    }
}

void KeptPromises::check_sent(const std::vector<LoopbackMail>& mails) const
{
    std::map<std::string, int> there;
    for (const LoopbackMail& mail : mails) {
        const std::string octets = mail.octets();
        const std::size_t from = octets.find("Message-Id: <") + 13;
        const std::string id = octets.substr(from, octets.find('>', from) - from);
        EXPECT_EQ(header_of(id) + body_of(id), octets) << id;
        EXPECT_EQ(1u, begun_.count(id)) << id;
        EXPECT_EQ(1, ++there[id]) << id;
    }
    for (const std::string& id : sent_)
        EXPECT_EQ(1u, there.count(id)) << id;
}

void KeptPromises::check_deleted(const std::set<std::string>& all, const Maildrop& maildrop) const
{
    std::set<std::string> there;
    for (const Maildrop::Mail& mail : maildrop.mails()) {
        there.insert(mail.uid);
        EXPECT_EQ(0u, deleted_.count(mail.uid)) << mail.uid;
    }
    for (const std::string& uid : all)
        EXPECT_TRUE(there.count(uid) == 1 || asked_.count(uid) == 1) << uid;
}

}  // namespace velorin_test
