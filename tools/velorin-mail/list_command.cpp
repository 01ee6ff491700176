#include <algorithm>
#include <array>
#include <cstdio>

#include <unistd.h>

#include "velorin_return_codes.h"

#include "commands.h"
#include "display_text.h"
#include "interrupt.h"
#include "mail_date.h"
#include "mail_manifest.h"
#include "mailbox_walk.h"
#include "progress.h"
#include "report.h"
#include "session.h"

namespace velorin::cli {

namespace {

struct ListedMail {
    MailEntry entry;
    std::string from;
    std::string subject;
    std::string date;
    std::string message_id;
    bool gone = false;  // deleted by somebody else since the list was made
};

// Header after header, of a server that knows TOP; of any other server the mails themselves, read over.
class HeaderReader {
public:
    explicit HeaderReader(CntsPOP3Boundary& session) : session_(session) {}

    bool read(ListedMail& listed, Failure& failure)
    {
        CntsPOP3ReceiveMail mail(listed.entry.info());
        std::uint32_t code = has_top_ ? session_.ReceiveHeaderOnly(mail, 1) : whole(mail);
        if (has_top_ && code == return_code::kCommandRefused) {
            // A mail that is gone is refused in the same way: then RETR is refused, too, and TOP stays.
            code = whole(mail);
            has_top_ = code != 0 && code != return_code::kAnswerCut;
        }
        listed.gone = code == return_code::kNoSuchMail;
        if (code != 0 && code != return_code::kAnswerCut && !listed.gone)
            return fail_with_code(failure, "list", code);
        listed.from = text_in(mail.m_cFrom.m_cAddress);
        listed.subject = text_in(mail.m_cSubject);
        listed.date = text_in(mail.m_cDate);
        listed.message_id = text_in(mail.m_cMessageID);
        return true;
    }

private:
    std::uint32_t whole(CntsPOP3ReceiveMail& mail)
    {
        const std::uint32_t code = session_.ReceiveHeader(mail, 1);
        if (code != 0 && code != return_code::kAnswerCut) return code;
        return session_.SkipMail(mail);
    }

    CntsPOP3Boundary& session_;
    bool has_top_ = true;
};

bool list_mails(const Options& options, Progress& progress, std::vector<ListedMail>& listed, Failure& failure)
{
    Account account;
    OpenMailbox open;
    std::vector<MailEntry> mails;
    set_stage(Stage::kNothingReceived);
    if (!resolve_mailbox_account(options, account, failure) || !open_mailbox(account, open, failure) ||
        !walk_mailbox(*open.session, mails, failure))
        return false;
    HeaderReader reader(*open.session);
    progress.begin(0, static_cast<unsigned>(mails.size()));
    for (const MailEntry& entry : mails) {
        ListedMail mail;
        mail.entry = entry;
        progress.part(static_cast<unsigned>(listed.size()) + 1, display_text(entry.uid));
        if (!reader.read(mail, failure)) return false;
        if (interrupting_signal() != 0)
            return fail(failure, kExitSignal + interrupting_signal(), "list", interrupted_sentence(stage()));
        if (!mail.gone) listed.push_back(mail);
        progress.add(0);
    }
    leave_mailbox(*open.session);
    return true;
}

constexpr std::size_t kColumns = 6;
using Row = std::array<std::string, kColumns>;
enum Column : std::size_t { kNumber, kUid, kSize, kFrom, kSubject, kDate };

std::string date_for_people(const std::string& text)
{
    std::time_t moment = 0;
    return read_mail_date(text, moment) ? short_date(moment) : display_text(text);
}

Row row_of(const ListedMail& mail)
{
    return {std::to_string(mail.entry.number), display_text(mail.entry.uid), std::to_string(mail.entry.size),
            display_text(mail.from),           display_text(mail.subject),   date_for_people(mail.date)};
}

// Takes columns from the texts that a person misses least, until the table fits.
void fit(std::array<std::size_t, kColumns>& widths, std::size_t terminal)
{
    constexpr std::size_t kGaps = 2 * (kColumns - 1);
    static constexpr struct {
        Column column;
        std::size_t least;
    } order[] = {{kSubject, 24}, {kFrom, 20}, {kUid, 12}, {kSubject, 10}, {kFrom, 8}, {kDate, 10}, {kUid, 4}};
    std::size_t total = kGaps;
    for (const std::size_t width : widths)
        total += width;
    for (const auto& [column, least] : order) {
        if (total <= terminal) return;
        if (widths[column] <= least) continue;
        const std::size_t taken = std::min(total - terminal, widths[column] - least);
        widths[column] -= taken;
        total -= taken;
    }
}

std::string line_of(const Row& row, const std::array<std::size_t, kColumns>& widths)
{
    std::string line;
    for (std::size_t column = 0; column < kColumns; ++column) {
        const bool is_number = column == kNumber || column == kSize;
        const std::string text = cut_to_width(row[column], widths[column]);
        if (column > 0) line += "  ";
        line += column + 1 == kColumns ? text : padded(text, widths[column], is_number);
    }
    return line;
}

bool print_table(const std::vector<ListedMail>& mails)
{
    std::vector<Row> rows = {{"no.", "unique id", "size", "from", "subject", "date"}};
    for (const ListedMail& mail : mails)
        rows.push_back(row_of(mail));
    std::array<std::size_t, kColumns> widths = {};
    for (const Row& row : rows)
        for (std::size_t column = 0; column < kColumns; ++column)
            widths[column] = std::max(widths[column], display_width(row[column]));
    const std::size_t terminal = terminal_width(STDOUT_FILENO);  // 0: nothing is cut
    if (terminal != 0) fit(widths, terminal);
    for (const Row& row : rows) {
        std::string line = line_of(row, widths);
        if (terminal != 0) line = cut_to_width(line, terminal);
        if (std::printf("%s\n", line.c_str()) < 0) return false;
    }
    return std::fflush(stdout) == 0;
}

std::string json_of_mails(const std::vector<ListedMail>& mails)
{
    std::string array = "[";
    for (const ListedMail& mail : mails) {
        if (array.size() > 1) array += ",";
        array += "{\"number\":" + std::to_string(mail.entry.number) +
                 ",\"unique_id\":" + json_string(mail.entry.uid) +
                 ",\"size\":" + std::to_string(mail.entry.size) + ",\"from\":" + json_string(mail.from) +
                 ",\"subject\":" + json_string(mail.subject) + ",\"date\":" + json_string(mail.date) +
                 ",\"message_id\":" + json_string(mail.message_id) + "}";
    }
    return array + "]";
}

}  // namespace

int run_list(const Options& options)
{
    Outcome outcome;
    outcome.command = "list";
    Failure failure;
    std::vector<ListedMail> mails;
    bool done = false;
    {
        Progress progress(!options.quiet && !options.json && !options.verbose, "mail");
        done = list_mails(options, progress, mails, failure);
        outcome.seconds = progress.seconds();
    }
    if (done) outcome.mails = json_of_mails(mails);
    if (done && !options.json && !print_table(mails))
        done = fail(failure, kExitIo, "list", "the table cannot be written to standard output");
    return report(outcome, done ? nullptr : &failure, options.json);
}

}  // namespace velorin::cli
