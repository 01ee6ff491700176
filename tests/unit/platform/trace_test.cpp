// The trace sink is chosen once per process, so every case runs a process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "platform_support.h"

namespace {

using platform_support::TempDirectory;

struct Written {
    int status;         // exit status
    std::string error;  // what came out of standard error
};

// Runs the writer with VELORIN_TRACE set so; null: unset.
Written run_writer(const char* sink, const std::vector<std::string>& arguments)
{
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("pipe");
    platform_support::Child writer([&] {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        if (sink != nullptr)
            setenv("VELORIN_TRACE", sink, 1);
        else
            unsetenv("VELORIN_TRACE");
        std::vector<char*> all{const_cast<char*>(TRACE_WRITER)};
        for (const std::string& argument : arguments)
            all.push_back(const_cast<char*>(argument.c_str()));
        all.push_back(nullptr);
        execv(TRACE_WRITER, all.data());
        return 98;
    });
    close(ends[1]);
    Written written{0, ""};
    char buffer[65536];
    ssize_t taken = 0;
    while ((taken = read(ends[0], buffer, sizeof buffer)) > 0) {
        written.error.append(buffer, static_cast<std::size_t>(taken));
    }
    close(ends[0]);
    written.status = writer.wait();
    return written;
}

std::string content_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The lines without their prefixes; a line that is not whole or has another prefix is a failure.
std::vector<std::string> texts_of(const std::string& output)
{
    static const std::regex prefix(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z \d+/\d+ 2107:102:0 )");
    std::vector<std::string> texts;
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        std::smatch found;
        const std::string head = line.substr(0, 100);  // a long line is no work for a regular expression
        EXPECT_TRUE(std::regex_search(head, found, prefix)) << head;
        texts.push_back(line.substr(static_cast<std::size_t>(found.length())));
    }
    EXPECT_TRUE(output.empty() || output.back() == '\n');
    return texts;
}

// Every line of every thread once, in the thread's order.
void expect_all_lines(const std::string& output, int threads, int lines, std::size_t filling)
{
    std::map<int, int> next;
    const std::string end = " " + std::string(filling, 'x') + " end";
    int count = 0;
    for (const std::string& text : texts_of(output)) {
        int thread = -1;
        int line = -1;
        ASSERT_EQ(std::sscanf(text.c_str(), "thread %d line %d", &thread, &line), 2) << text.substr(0, 100);
        const std::string begin = "thread " + std::to_string(thread) + " line " + std::to_string(line);
        ASSERT_TRUE(text == begin + end) << begin;
        ASSERT_EQ(line, next[thread]++) << begin;
        ++count;
    }
    EXPECT_EQ(count, threads * lines);
}

TEST(Trace, LinesOfManyThreadsAreWholeOnStandardError)
{
    for (const char* sink : {static_cast<const char*>(nullptr), "", "stderr"}) {
        const Written written = run_writer(sink, {"32", "100", "100"});
        EXPECT_EQ(written.status, 0);
        expect_all_lines(written.error, 32, 100, 100);
    }
}

TEST(Trace, LongLinesAreWholeToo)
{
    // Longer than a pipe takes at once without mixing, and than a pipe holds.
    for (const std::size_t filling :
         {std::size_t{900}, std::size_t{1024}, std::size_t{5000}, std::size_t{200000}}) {
        const Written written = run_writer("stderr", {"8", "10", std::to_string(filling)});
        EXPECT_EQ(written.status, 0);
        expect_all_lines(written.error, 8, 10, filling);
    }
}

TEST(Trace, LinesOfSeveralProcessesAreWholeInAFile)
{
    const TempDirectory directory;
    const std::string path = directory / "trace";
    std::vector<std::unique_ptr<platform_support::Child>> writers;
    for (int index = 0; index < 4; ++index) {
        writers.push_back(std::make_unique<platform_support::Child>([&] {
            return run_writer(path.c_str(), {"8", "100", "3000"}).status;
        }));
    }
    for (const auto& writer : writers)
        EXPECT_EQ(writer->wait(), 0);
    std::map<std::string, std::string> by_process;
    std::istringstream lines(content_of(path));
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t blank = line.find(' ');
        by_process[line.substr(blank, line.find('/') - blank)] += line + "\n";
    }
    EXPECT_EQ(by_process.size(), 4u);
    for (const auto& process : by_process)
        expect_all_lines(process.second, 8, 100, 3000);
}

TEST(Trace, FileIsAppendedToAndNothingGoesToStandardError)
{
    const TempDirectory directory;
    const std::string path = directory / "trace";
    EXPECT_EQ(run_writer(path.c_str(), {"1", "2", "5"}).error, "");
    EXPECT_EQ(run_writer(path.c_str(), {"1", "3", "5"}).error, "");
    EXPECT_EQ(texts_of(content_of(path)).size(), 5u);
    struct stat found {};
    ASSERT_EQ(stat(path.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0007u, 0u);
}

TEST(Trace, FileThatCannotBeOpenedIsToldAndReplaced)
{
    const Written written = run_writer("/nonexistent/trace", {"1", "2", "5"});
    EXPECT_EQ(written.status, 0);
    const std::size_t end = written.error.find('\n');
    ASSERT_NE(end, std::string::npos);
    EXPECT_NE(written.error.substr(0, end).find("/nonexistent/trace"), std::string::npos);
    EXPECT_EQ(texts_of(written.error.substr(end + 1)).size(), 2u);
}

TEST(Trace, CanBeSilencedOrSentToSyslog)
{
    for (const char* sink : {"none", "off", "syslog"}) {
        const Written written = run_writer(sink, {"4", "5", "10"});
        EXPECT_EQ(written.status, 0) << sink;
        EXPECT_EQ(written.error, "") << sink;
    }
}

TEST(Trace, TextCannotBeginALineOfItsOwn)
{
    const std::vector<std::string> texts = texts_of(run_writer(nullptr, {"controls"}).error);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0], "one\\x0D\\x0Atwo\\x1B[31m\\x7F\tthree \xE3\x81\x82\\x0A"
                        "four");
}

TEST(Trace, LineEndIsOptional)
{
    EXPECT_EQ(texts_of(run_writer(nullptr, {"ends"}).error),
              (std::vector<std::string>{"without", "with", "with several", ""}));
}

TEST(Trace, PrefixCarriesTheNumbers)
{
    const std::string line = run_writer(nullptr, {"numbers"}).error;
    const std::string expected = " 2107:102:1f 21077103 -5 text%\n";
    ASSERT_GT(line.size(), expected.size());
    EXPECT_EQ(line.substr(line.size() - expected.size()), expected);
}

TEST(Trace, KeepsErrnoAndSurvivesAReaderThatHasGone)
{
    EXPECT_EQ(run_writer(nullptr, {"errno"}).status, 0);
    EXPECT_EQ(run_writer(nullptr, {"closed pipe"}).status, 0);
}

}  // namespace
