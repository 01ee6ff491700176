// Requests of a hostile client to the service, of both protocols, one after the other, while its servers say anything.
//   input   the octets that a server sends at once, then requests: the endpoint and the room of the answer, the length
//           of the envelope in two octets, the envelope; behind a request of length 0xFFFF the server's turns
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "mail_service.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"
#include "scripted_server.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;

constexpr std::size_t kMaxRequests = 40;
constexpr unsigned kTurnsFollow = 0xFFFF;

struct Request {
    bool is_smtp = true;
    std::uint32_t capacity = 0;
    std::string envelope;
};

// POP before SMTP waits as long as the client wants it to.
void forbid_waiting(std::string& envelope)
{
    velorin::ntc_email_esu_smtp_method method;
    if (!method.ParseFromString(envelope) || method.create_instance_req().psmtpset().n_pop_wait_time() == 0)
        return;
    method.mutable_create_instance_req()->mutable_psmtpset()->clear_n_pop_wait_time();
    envelope = method.SerializeAsString();
}

std::vector<Request> read_requests(Input& input)
{
    std::vector<Request> requests;
    while (!input.is_at_end() && requests.size() < kMaxRequests) {
        Request request;
        const unsigned kind = input.octet();
        request.is_smtp = (kind & 1) == 0;
        request.capacity = (kind & 2) != 0 ? kind * 4 : request.is_smtp ? 4096 : 8192;
        const unsigned high = input.octet();
        const unsigned length = high << 8 | input.octet();
        if (length == kTurnsFollow) break;
        request.envelope = input.octets(length);
        if (request.is_smtp) forbid_waiting(request.envelope);
        requests.push_back(request);
    }
    return requests;
}

// One exchange, request and answer in blocks of their exact sizes.
//   result  false when the caller is let go
template <typename Envelope>
bool exchange(MailService& service, const velorin_channel::Caller& caller, const Request& request,
              Envelope& answer)
{
    const Exact octets(request.envelope);
    const Exact room(std::string(request.capacity, '\xA5'));
    std::uint32_t length = 0;
    const auto size = static_cast<std::uint32_t>(octets.length());
    const bool answered =
        request.is_smtp
            ? service.answer_smtp(caller, octets.data(), size, room.data(), request.capacity, length)
            : service.answer_pop3(caller, octets.data(), size, room.data(), request.capacity, length);
    if (!answered) return false;
    require(length <= request.capacity, "an answer fits its buffer");
    require(answer.ParseFromArray(room.data(), static_cast<int>(length)), "an answer can be read");
    return true;
}

void check_answered(const Request& request, bool answered)
{
    require(answered || request.capacity < 4096,
            "every request has an answer that fits the library's buffer");
}

// Never more than one method's answer, but for a request that nobody understands.
void check_method(const velorin::ntc_email_esu_smtp_method& answer, bool answered)
{
    if (!answered || answer.has_method_type()) return;
    const std::int32_t code = answer.create_instance_res().retcode();
    require(code != 0, "a request that is not understood has failed");
    require(answer.test_res().retcode() == code && answer.destroy_instance_res().retcode() == code &&
                answer.close_res().retcode() == code,
            "whatever method the caller looks at says so");
}

void check_method(const velorin::ntc_email_esu_pop3_method& answer, bool answered)
{
    if (!answered || answer.has_method_type()) return;
    const std::int32_t code = answer.create_instance_res().retcode();
    require(code != 0, "a request that is not understood has failed");
    require(answer.test_res().retcode() == code && answer.destroy_instance_res().retcode() == code &&
                answer.list_res().retcode() == code,
            "whatever method the caller looks at says so");
}

template <typename Envelope>
void serve(MailService& service, const velorin_channel::Caller& caller, const Request& request)
{
    Envelope answer;
    const bool answered = exchange(service, caller, request, answer);
    check_answered(request, answered);
    check_method(answer, answered);
}

// One service for all inputs: it has a thread. Each input brings clients of its own, and takes their sessions away.
class Service {
public:
    static Service& only()
    {
        static Service* const service = new Service;  // its thread is not waited for when the program ends
        return *service;
    }

    MailService& begin(Script& script)
    {
        script_ = &script;
        ++inputs_;
        return service_;
    }

    velorin_channel::Caller hostile() const { return caller(2 * inputs_); }
    velorin_channel::Caller behaving() const { return caller(2 * inputs_ + 1); }

private:
    Service()
        : service_(options(), [this](const velorin::service::CancelSignal& cancel, LastReply& last_reply) {
              return script_->maker()(cancel, last_reply);
          })
    {
    }

    static velorin::MailServiceOptions options()
    {
        velorin::MailServiceOptions options;
        options.max_sessions_per_user = options.max_sessions;
        return options;
    }

    static velorin_channel::Caller caller(std::uint64_t start_time)
    {
        velorin_channel::Caller caller{};
        caller.uid = 1000;
        caller.pid = 4711;
        caller.start_time = start_time;
        caller.in_process = true;
        return caller;
    }

    Script* script_ = nullptr;
    std::uint64_t inputs_ = 0;
    MailService service_;
};

void serve(MailService& service, const velorin_channel::Caller& caller, const Request& request)
{
    if (request.is_smtp)
        serve<velorin::ntc_email_esu_smtp_method>(service, caller, request);
    else
        serve<velorin::ntc_email_esu_pop3_method>(service, caller, request);
}

// The envelope that ends the session of a request that makes one; empty for any other.
std::string end_of_session(const Request& request)
{
    if (request.is_smtp) {
        velorin::ntc_email_esu_smtp_method made, end;
        if (!made.ParseFromString(request.envelope) || !made.has_create_instance_req()) return {};
        end.set_method_type(velorin::NTC_EMAIL_ESU_SMTP_METHOD_DESTROY_INSTANCE);
        end.mutable_destroy_instance_req()->set_session_id(made.create_instance_req().session_id());
        return end.SerializeAsString();
    }
    velorin::ntc_email_esu_pop3_method made, end;
    if (!made.ParseFromString(request.envelope) || !made.has_create_instance_req()) return {};
    end.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_DESTROY_INSTANCE);
    end.mutable_destroy_instance_req()->set_session_id(made.create_instance_req().session_id());
    return end.SerializeAsString();
}

// Somebody who behaves: his session is his own, whatever the others do.
class Behaving {
public:
    Behaving(MailService& service, const velorin_channel::Caller& caller) : service_(service), caller_(caller)
    {
        Envelope request;
        request.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_CREATE_INSTANCE);
        request.mutable_create_instance_req()->set_session_id(1);
        request.mutable_create_instance_req()->mutable_c_settings()->mutable_c_address()->set_c_address(
            "a@b");
        require(ask(request).create_instance_res().retcode() == 0, "a session is made");
    }

    void check()
    {
        Envelope request;
        request.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_REF_MAIL_ADDRESS);
        request.mutable_ref_mail_address_req()->set_session_id(1);
        require(ask(request).ref_mail_address_res().mail_address().c_address() == "a@b",
                "a session is its client's own");
    }

    ~Behaving()
    {
        Envelope request;
        request.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_DESTROY_INSTANCE);
        request.mutable_destroy_instance_req()->set_session_id(1);
        require(ask(request).destroy_instance_res().retcode() == 0,
                "a session is there until its client ends it");
    }
    Behaving(const Behaving&) = delete;
    Behaving& operator=(const Behaving&) = delete;

private:
    using Envelope = velorin::ntc_email_esu_pop3_method;

    Envelope ask(const Envelope& request)
    {
        Envelope answer;
        require(exchange(service_, caller_, {false, 8192, request.SerializeAsString()}, answer),
                "others are served");
        return answer;
    }

    MailService& service_;
    const velorin_channel::Caller caller_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const std::size_t step = 1 + input.octet();
    const std::vector<Request> requests = read_requests(input);
    const std::string turns = input.rest();

    const Platform platform;
    Script script(turns, step);
    MailService& service = Service::only().begin(script);
    const velorin_channel::Caller hostile = Service::only().hostile();
    Behaving behaving(service, Service::only().behaving());
    for (const Request& request : requests)
        serve(service, hostile, request);
    behaving.check();
    for (const Request& request : requests) {
        const std::string end = end_of_session(request);
        if (!end.empty()) serve(service, hostile, {request.is_smtp, 8192, end});
    }
    return 0;
}
