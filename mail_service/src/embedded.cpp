#include "velorin_mail_service.h"

#include <exception>
#include <memory>
#include <new>
#include <string>

#include "mail_service.h"

namespace velorin {
namespace {

constexpr std::uint32_t kGrace = 5;  // seconds for a verdict that is still on its way

}  // namespace

struct EmbeddedMailService::State {
    std::string error;
    std::unique_ptr<service::MailService> service;
    std::unique_ptr<velorin_channel::LocalEndpoint> smtp;
    std::unique_ptr<velorin_channel::LocalEndpoint> pop3;
    std::unique_ptr<velorin_channel::LocalEndpoint> diagnosis;

    void start(const MailServiceOptions& options)
    {
        using velorin_channel::Caller;
        using velorin_channel::LocalEndpoint;
        service = std::make_unique<service::MailService>(options);
        service::MailService& mail_service = *service;
        smtp = std::make_unique<LocalEndpoint>(
            service::kSmtpEndpoint,
            [&mail_service](const Caller& caller, const char* request, std::uint32_t request_length,
                            char* answer, std::uint32_t capacity, std::uint32_t& answer_length) {
                return mail_service.answer_smtp(caller, request, request_length, answer, capacity,
                                                answer_length);
            });
        pop3 = std::make_unique<LocalEndpoint>(
            service::kPop3Endpoint,
            [&mail_service](const Caller& caller, const char* request, std::uint32_t request_length,
                            char* answer, std::uint32_t capacity, std::uint32_t& answer_length) {
                return mail_service.answer_pop3(caller, request, request_length, answer, capacity,
                                                answer_length);
            });
        diagnosis = std::make_unique<LocalEndpoint>(
            service::kDiagnosisEndpoint,
            [&mail_service](const Caller& caller, const char*, std::uint32_t, char* answer,
                            std::uint32_t capacity, std::uint32_t& answer_length) {
                return mail_service.answer_diagnosis(caller, answer, capacity, answer_length);
            });
    }

    ~State()
    {
        if (service) service->shut_down(kGrace);
        smtp.reset();  // waits for the exchanges that are ending
        pop3.reset();
        diagnosis.reset();
    }
};

EmbeddedMailService::EmbeddedMailService() : EmbeddedMailService(MailServiceOptions()) {}

EmbeddedMailService::EmbeddedMailService(const MailServiceOptions& options) : state_(new (std::nothrow) State)
{
    if (state_ == nullptr) return;
    try {
        state_->start(options);
    } catch (const std::exception& failure) {
        state_->error = std::string("The mail service cannot start: ") + failure.what() + ".";
    }
}

EmbeddedMailService::~EmbeddedMailService()
{
    delete state_;
}

bool EmbeddedMailService::running() const
{
    return state_ != nullptr && state_->error.empty();
}

const char* EmbeddedMailService::error() const
{
    return state_ != nullptr ? state_->error.c_str() : "The mail service cannot start: memory ran out.";
}

}  // namespace velorin
