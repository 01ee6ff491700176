#include "many_sessions.h"

#include <future>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ntc_email.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"

namespace velorin_test {
namespace {

// What the service answers to a question that carries a number, asked by the session whose settings have this port.
std::uint32_t answer_of(std::uint32_t port, std::uint32_t number)
{
    return port * 1000u + number;
}

velorin::CntsSMTPSettings smtp_settings(std::uint32_t port)
{
    velorin::nts_smtp_settings record;
    record.n_port = static_cast<decltype(record.n_port)>(port);
    return velorin::CntsSMTPSettings(record);
}

velorin::CntsPOP3Settings pop3_settings(std::uint32_t port)
{
    velorin::SPOP3Setting record;
    record.n_port = static_cast<decltype(record.n_port)>(port);
    return velorin::CntsPOP3Settings(record);
}

void ask_both(std::uint32_t port, unsigned questions)
{
    velorin::CntsSMTPBoundary sending(smtp_settings(port));
    velorin::CntsPOP3Boundary receiving(pop3_settings(port));
    for (unsigned number = 0; number < questions; ++number) {
        EXPECT_EQ(sending.JudgeSizeofData(number), answer_of(port, number));
        int count = -1;
        EXPECT_EQ(receiving.Stat(count), 0u);
        EXPECT_EQ(count, static_cast<int>(port));
    }
}

}  // namespace

bool NumberedService::open(Sessions& sessions, std::uint32_t id, std::uint32_t port)
{
    const std::lock_guard<std::mutex> guard(lock_);
    return port != 0 && sessions.emplace(id, port).second;
}

bool NumberedService::end(Sessions& sessions, std::uint32_t id)
{
    const std::lock_guard<std::mutex> guard(lock_);
    return sessions.erase(id) == 1;
}

std::uint32_t NumberedService::port_of(const Sessions& sessions, std::uint32_t id) const
{
    const std::lock_guard<std::mutex> guard(lock_);
    const auto found = sessions.find(id);
    return found == sessions.end() ? 0 : found->second;
}

std::string NumberedService::count(bool is_good, const std::string& answer)
{
    ++(is_good ? answered_ : refused_);
    return is_good ? answer : "";
}

std::size_t NumberedService::live_sessions() const
{
    const std::lock_guard<std::mutex> guard(lock_);
    return smtp_.size() + pop3_.size();
}

std::string NumberedService::smtp(const std::string& request)
{
    velorin::ntc_email_esu_smtp_method asked;
    velorin::ntc_email_esu_smtp_method answer;
    bool is_good = asked.ParseFromString(request);
    answer.set_method_type(asked.method_type());
    if (asked.has_create_instance_req()) {
        const auto& create = asked.create_instance_req();
        is_good = is_good && open(smtp_, create.session_id(), create.psmtpset().n_port());
        answer.mutable_create_instance_res()->set_retcode(0);
    } else if (asked.has_judge_size_of_data_req()) {
        const auto& judge = asked.judge_size_of_data_req();
        const std::uint32_t port = port_of(smtp_, judge.session_id());
        is_good = is_good && port != 0;
        answer.mutable_judge_size_of_data_res()->set_retcode(
            static_cast<std::int32_t>(answer_of(port, judge.size())));
    } else {
        is_good = is_good && end(smtp_, asked.destroy_instance_req().session_id());
        answer.mutable_destroy_instance_res()->set_retcode(0);
    }
    return count(is_good, answer.SerializeAsString());
}

std::string NumberedService::pop3(const std::string& request)
{
    velorin::ntc_email_esu_pop3_method asked;
    velorin::ntc_email_esu_pop3_method answer;
    bool is_good = asked.ParseFromString(request);
    answer.set_method_type(asked.method_type());
    if (asked.has_create_instance_req()) {
        const auto& create = asked.create_instance_req();
        is_good = is_good && open(pop3_, create.session_id(), create.c_settings().n_port());
        answer.mutable_create_instance_res()->set_retcode(0);
    } else if (asked.has_stat_req()) {
        const std::uint32_t port = port_of(pop3_, asked.stat_req().session_id());
        is_good = is_good && port != 0;
        answer.mutable_stat_res()->set_total_num(static_cast<std::int32_t>(port));
        answer.mutable_stat_res()->set_retcode(0);
    } else {
        is_good = is_good && end(pop3_, asked.destroy_instance_req().session_id());
        answer.mutable_destroy_instance_res()->set_retcode(0);
    }
    return count(is_good, answer.SerializeAsString());
}

unsigned run_many_sessions(unsigned rounds, unsigned questions)
{
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    std::vector<std::thread> threads;
    for (std::uint32_t port = 1; port <= kManyThreads; ++port) {
        threads.emplace_back([started, port, rounds, questions] {
            started.wait();
            for (unsigned round = 0; round < rounds; ++round)
                ask_both(port, questions);
        });
    }
    start.set_value();
    for (std::thread& thread : threads)
        thread.join();
    return kManyThreads * rounds * 2 * (questions + 2);
}

}  // namespace velorin_test
