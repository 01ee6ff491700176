#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "commands.h"
#include "domain_list.h"
#include "report.h"
#include "spool.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "filter";
constexpr std::size_t kMaxInput = 16u << 20;  // octets

bool read_rule(const Options& options, DomainRule& rule, Failure& failure)
{
    Settings file;
    if (!load_config(options.config_file, file, failure)) return false;
    if (!read_domain_rule(merge(options.account, file), rule, failure)) return false;
    if (rule.kind != DomainRule::Kind::kNone) return true;
    return fail(failure, kExitUsage, kStep, "no list, give --permit LIST or --refuse LIST");
}

// The addresses of the command line, else of standard input, each line an address or a list of them.
bool read_addresses(const std::vector<std::string>& given, std::vector<std::string>& lists, Failure& failure)
{
    lists = given;
    if (!given.empty()) return true;
    DescriptorSource source(STDIN_FILENO);
    std::string text;
    if (!read_all(source, kMaxInput, text))
        return fail(failure, kExitIo, kStep,
                    std::string("cannot read standard input: ") + std::strerror(errno));
    if (text.find('\0') != std::string::npos)
        return fail(failure, kExitData, kStep, "standard input holds a NUL");
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lists.push_back(line);
        begin = end + 1;
    }
    return true;
}

bool filter(const Options& options, Failure& failure)
{
    DomainRule rule;
    std::vector<std::string> lists;
    if (!read_rule(options, rule, failure) || !read_addresses(options.filter_addresses, lists, failure))
        return false;
    const DomainChecker checker(rule);
    std::size_t count = 0;
    std::size_t refused = 0;
    for (const std::string& list : lists) {
        for (const std::string& entry : entries_of(list)) {
            ++count;
            if (checker.passes(entry)) {
                std::printf("%s\n", entry.c_str());
            } else if (refused++ == 0) {
                fail(failure, kExitPermission, kStep, checker.refusal(entry));
            }
        }
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return fail(failure, kExitIo, kStep, "the result cannot be written to standard output");
    if (count == 0) return fail(failure, kExitData, kStep, "there is no address");
    if (refused > 1)
        failure.sentence += ", and " + std::to_string(refused - 1) + " more may not be written to";
    return refused == 0;
}

}  // namespace

int run_filter(const Options& options)
{
    Failure failure;
    Outcome outcome;
    outcome.command = "filter";
    return report(outcome, filter(options, failure) ? nullptr : &failure, false);
}

}  // namespace velorin::cli
