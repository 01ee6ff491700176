// Recording of exchanges. The file is chosen once per process, so all tests here share one.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "capture.h"
#include "channel_codes.h"
#include "envelope_octets.h"
#include "platform_support.h"

namespace {

using namespace envelope_octets;
using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::CaptureRecord;
using velorin_channel::Handler;
using velorin_channel::LocalEndpoint;
using velorin_channel::read_capture_record;

TempDirectory& capture_directory()
{
    static TempDirectory directory;
    return directory;
}

std::string capture_path()
{
    return capture_directory() / "capture";
}

class CaptureEnvironment : public testing::Environment {
public:
    void SetUp() override
    {
        // There already, with too many rights.
        std::ofstream(capture_path()).close();
        chmod(capture_path().c_str(), 0666);
        setenv("VELORIN_CAPTURE", capture_path().c_str(), 1);
    }
};
const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new CaptureEnvironment);

std::string content()
{
    std::ifstream file(capture_path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The records of the octets; `error` is the reader's last.
std::vector<CaptureRecord> read_all(const std::string& octets, std::string& error)
{
    std::vector<CaptureRecord> records;
    std::FILE* const file = std::tmpfile();
    if (file == nullptr) throw std::runtime_error("tmpfile");
    std::fwrite(octets.data(), 1, octets.size(), file);
    std::rewind(file);
    CaptureRecord record;
    while (read_capture_record(file, record, error))
        records.push_back(record);
    std::fclose(file);
    return records;
}

// What a test itself records.
class Recording {
public:
    Recording() : begin_(content().size()) {}
    std::string octets() const { return content().substr(begin_); }
    std::vector<CaptureRecord> records() const
    {
        std::string error;
        std::vector<CaptureRecord> all = read_all(octets(), error);
        EXPECT_EQ(error, "");
        return all;
    }

private:
    std::size_t begin_;
};

Handler answering(const std::string& octets)
{
    return [octets](const Caller&, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
                    std::uint32_t& length) {
        if (octets.size() > capacity) return false;
        octets.copy(answer, octets.size());
        length = static_cast<std::uint32_t>(octets.size());
        return true;
    };
}

TEST(Capture, RecordsAnExchange)
{
    const Recording recording;
    const std::string answer = number(1, 2) + text(7, number(1, 0));
    const LocalEndpoint endpoint("ntc_email_smtp", answering(answer));
    const std::string request = number(1, 2) + text(6, number(1, 4711));
    const std::int64_t before = std::chrono::duration_cast<std::chrono::microseconds>(
                                    std::chrono::system_clock::now().time_since_epoch())
                                    .count();
    ASSERT_EQ(call_once("ntc_email_smtp", request).code, 0u);
    const std::vector<CaptureRecord> records = recording.records();
    ASSERT_EQ(records.size(), 1u);
    const CaptureRecord& record = records[0];
    EXPECT_GE(record.time_us, before);
    EXPECT_LT(record.time_us, before + 60000000);
    EXPECT_LT(record.duration_ns, 60000000000u);
    EXPECT_EQ(record.pid, static_cast<std::uint32_t>(getpid()));
    EXPECT_EQ(record.code, 0u);
    EXPECT_EQ(record.endpoint, "pcie:ntc_email_smtp");
    EXPECT_EQ(record.request_size, request.size());
    EXPECT_EQ(record.answer_size, answer.size());
    EXPECT_TRUE(record.has_request);
    EXPECT_TRUE(record.has_answer);
    EXPECT_EQ(record.request, request);
    EXPECT_EQ(record.answer, answer);
}

TEST(Capture, RecordIsWhatItsDescriptionSays)
{
    const Recording recording;
    const LocalEndpoint endpoint("ntc_email_pop3", answering(""));
    const std::string request = number(1, 2);
    ASSERT_EQ(call_once("ntc_email_pop3", request).code, 0u);
    const std::string octets = recording.octets();
    ASSERT_EQ(octets.size(), 56u + 19 + 2);
    EXPECT_EQ(octets.substr(0, 8), std::string("NTC\x01\0\0\0\x4D", 8));
    EXPECT_EQ(octets.substr(28, 28), big_endian(0) + big_endian(3) + big_endian(2) + big_endian(0) +
                                         big_endian(19) + big_endian(2) + big_endian(0));
    EXPECT_EQ(octets.substr(56), "pcie:ntc_email_pop3" + request);
}

TEST(Capture, FileIsItsOwnersAlone)
{
    const LocalEndpoint endpoint("ntc_email_smtp", answering(""));
    ASSERT_EQ(call_once("ntc_email_smtp", "").code, 0u);
    struct stat found {};
    ASSERT_EQ(stat(capture_path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777u, 0600u);
}

TEST(Capture, PasswordsAndBodiesNeverReachTheFile)
{
    const Recording recording;
    const std::string part = text(10, "top secret body") + number(11, 15);
    const LocalEndpoint smtp("ntc_email_smtp", answering(text(9, number(1, 0))));
    const LocalEndpoint pop3(
        "ntc_email_pop3",
        answering(text(17, text(1, text(1, part) + text(17, text(1, part))) + number(2, 0))));
    const std::string pop3_settings = text(4, "user") + text(5, "top secret word");
    ASSERT_EQ(
        call_once("ntc_email_smtp", text(2, text(2, text(5, pop3_settings) + text(7, "top secret too"))))
            .code,
        0u);
    ASSERT_EQ(
        call_once("ntc_email_smtp", number(1, 3) + text(8, text(2, text(1, part) + text(2, text(1, part)))))
            .code,
        0u);
    ASSERT_EQ(call_once("ntc_email_pop3", text(2, text(2, pop3_settings))).code, 0u);
    ASSERT_EQ(call_once("ntc_email_pop3", text(16, text(2, text(1, part)))).code, 0u);
    const std::vector<CaptureRecord> records = recording.records();
    ASSERT_EQ(records.size(), 4u);
    for (const CaptureRecord& record : records) {
        EXPECT_TRUE(record.has_request);
        EXPECT_TRUE(record.has_answer);
    }
    EXPECT_EQ(records[2].request, text(2, text(2, text(4, "user") + text(5, "***"))));
    EXPECT_EQ(content().find("top secret"), std::string::npos);
}

TEST(Capture, WhatItCannotReadIsRecordedByItsSize)
{
    const Recording recording;
    const LocalEndpoint smtp("ntc_email_smtp", answering("\xFFsecret"));
    const LocalEndpoint other("other", answering("secret"));
    ASSERT_EQ(call_once("ntc_email_smtp", "secret garbage").code, 0u);
    ASSERT_EQ(call_once("other", number(1, 0)).code, 0u);
    const std::vector<CaptureRecord> records = recording.records();
    ASSERT_EQ(records.size(), 2u);
    for (const CaptureRecord& record : records) {
        EXPECT_FALSE(record.has_request);
        EXPECT_FALSE(record.has_answer);
        EXPECT_EQ(record.request, "");
        EXPECT_EQ(record.answer, "");
    }
    EXPECT_EQ(records[0].request_size, 14u);
    EXPECT_EQ(records[0].answer_size, 7u);
    EXPECT_EQ(records[1].endpoint, "pcie:other");
    EXPECT_EQ(content().find("secret"), std::string::npos);
}

TEST(Capture, FailedExchangeIsRecordedWithItsCode)
{
    const Recording recording;
    const LocalEndpoint endpoint("ntc_email_smtp", [](const Caller&, const char*, std::uint32_t, char*,
                                                      std::uint32_t, std::uint32_t&) { return false; });
    EXPECT_EQ(call_once("ntc_email_smtp", number(1, 1)).code, velorin_channel::kPeerGone);
    const std::vector<CaptureRecord> records = recording.records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].code, velorin_channel::kPeerGone);
    EXPECT_TRUE(records[0].has_request);
    EXPECT_FALSE(records[0].has_answer);
    EXPECT_EQ(records[0].answer_size, 0u);
}

TEST(Capture, RecordsExchangesOverASocket)
{
    const Recording recording;
    const ChannelDirectory directory;
    const EchoServer server(directory, {}, echo, "ntc_email_smtp");
    ASSERT_EQ(call_once("ntc_email_smtp", number(1, 5)).code, 0u);
    const std::vector<CaptureRecord> records = recording.records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].answer, number(1, 5));
}

TEST(Capture, RecordsOfManyThreadsDoNotMix)
{
    const Recording recording;
    const LocalEndpoint endpoint("ntc_email_smtp", echo);
    std::vector<std::thread> threads;
    for (unsigned index = 0; index < 8; ++index) {
        threads.emplace_back([index] {
            for (unsigned round = 0; round < 100; ++round) {
                const std::string subject(index * 100 + round, 'x');
                call_once("ntc_email_smtp", text(8, text(2, text(9, subject))));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::vector<int> seen(800);
    for (const CaptureRecord& record : recording.records()) {
        EXPECT_EQ(record.request, record.answer);
        for (std::size_t size = 0; size < seen.size(); ++size) {
            if (record.request == text(8, text(2, text(9, std::string(size, 'x'))))) ++seen[size];
        }
    }
    EXPECT_EQ(seen, std::vector<int>(800, 1));
}

TEST(CaptureReader, TellsTheEndFromDamage)
{
    const Recording recording;
    const LocalEndpoint endpoint("ntc_email_smtp", echo);
    ASSERT_EQ(call_once("ntc_email_smtp", number(1, 1)).code, 0u);
    ASSERT_EQ(call_once("ntc_email_smtp", number(1, 2)).code, 0u);
    const std::string octets = recording.octets();
    const std::size_t one = octets.size() / 2;
    for (std::size_t length = 0; length <= octets.size(); ++length) {
        std::string error;
        const std::vector<CaptureRecord> records = read_all(octets.substr(0, length), error);
        EXPECT_EQ(records.size(), length / one) << length;
        EXPECT_EQ(error.empty(), length % one == 0) << length;
    }
    std::string damaged = octets;
    damaged[one] = 'X';
    std::string error;
    EXPECT_EQ(read_all(damaged, error).size(), 1u);
    EXPECT_NE(error.find("damaged"), std::string::npos);
    damaged = octets;
    damaged[47] = '\x7F';  // another length of the endpoint
    EXPECT_EQ(read_all(damaged, error).size(), 0u);
    EXPECT_NE(error.find("contradicts"), std::string::npos);
    EXPECT_EQ(read_all("not a capture file", error).size(), 0u);
    EXPECT_FALSE(error.empty());
}

TEST(CaptureReader, AnnouncedLengthTakesNoMemory)
{
    // A record of 4 GiB of which only the header is there.
    const std::uint32_t endpoint = 0xFFFFFFFFu - 56;
    const std::string header = std::string("NTC\x01", 4) + big_endian(0xFFFFFFFFu) + std::string(16, '\0') +
                               std::string(20, '\0') + big_endian(endpoint) + big_endian(0) + big_endian(0);
    std::string error;
    EXPECT_EQ(read_all(header + "pcie:", error).size(), 0u);
    EXPECT_NE(error.find("in the middle"), std::string::npos);
}

}  // namespace
