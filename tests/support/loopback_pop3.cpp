#include "loopback_pop3.h"

#include <algorithm>
#include <utility>

#include "loopback_pop3_session.h"

namespace velorin_test {

void Maildrop::add(std::string octets, std::string uid)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (uid.empty()) uid = "loopback-" + std::to_string(next_++);
    mails_.push_back({std::move(uid), std::move(octets), ++serial_});
}

std::vector<Maildrop::Mail> Maildrop::mails() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return mails_;
}

void Maildrop::remove(const std::set<std::string>& uids)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto gone = std::remove_if(mails_.begin(), mails_.end(),
                                     [&uids](const Mail& mail) { return uids.count(mail.uid) != 0; });
    mails_.erase(gone, mails_.end());
}

void Maildrop::remove_serials(const std::set<unsigned>& serials)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto gone = std::remove_if(mails_.begin(), mails_.end(), [&serials](const Mail& mail) {
        return serials.count(mail.serial) != 0;
    });
    mails_.erase(gone, mails_.end());
}

LoopbackPop3::LoopbackPop3(Pop3Options options)
    : options_(std::move(options)), certificates_(options_.certificates)
{
    if (!options_.maildrop) options_.maildrop = std::make_shared<Maildrop>();
    if (!certificates_ && (options_.stls || options_.implicit_tls))
        certificates_ = std::make_shared<const LoopbackCertificates>(options_.tls);
    for (const Rule& rule : options_.rules)
        rules_.add(rule);
    listener_ = std::make_unique<LoopbackListener>(
        options_.port, options_.lifetime_ms,
        [this](LoopbackConnection& connection) { Pop3Session(*this, connection).run(); });
}

LoopbackPop3::~LoopbackPop3()
{
    listener_->stop();
}

}  // namespace velorin_test
