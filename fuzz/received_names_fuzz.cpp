// Texts of a received mail on their way to a file's name, to a terminal, to a date.
//   input   the most octets of a name, the columns of a terminal, the text
#include <algorithm>
#include <string>

#include "display_text.h"
#include "fuzz_input.h"
#include "fuzz_property.h"
#include "mail_date.h"
#include "safe_name.h"
#include "utf8.h"

namespace {

using namespace velorin::cli;
using namespace velorin_fuzz;

void check_harmless(const std::string& text)
{
    require(is_utf8(text), "a text is UTF-8");
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t width = utf8_width(text.data() + at, text.size() - at);
        require(!is_deceptive(utf8_character(text.data() + at, width)), "a text is what it looks like");
        at += width;
    }
}

void check_name(const std::string& wanted, std::size_t limit)
{
    const std::string name = safe_name(wanted, limit);
    check_harmless(name);
    require(name.size() <= limit, "a name is as short as it has to be");
    require(name.find_first_of("/\\") == std::string::npos, "a name is no path");
    if (name.empty()) return;
    require(name.front() != '.' && name.front() != '-' && name.front() != ' ',
            "a name is no option and not hidden");
    require(name.back() != ' ', "a name ends in what can be seen");
    require(safe_name(name, limit) == name, "a safe name is one");
    const std::string numbered = numbered_name(name, 2);
    require(numbered != name && numbered.size() == name.size() + 2, "a number makes another name");
    require(safe_name(numbered, limit + 2) == numbered, "a name with a number is safe");
}

void check_uid(const std::string& uid)
{
    const std::string name = name_of_uid(uid);
    require(name.size() == std::min<std::size_t>(uid.size(), 80), "a unique id stays as long as it is");
    require(name.find_first_of("/\\ \n") == std::string::npos, "a unique id is no path");
}

void check_shown(const std::string& text, std::size_t columns)
{
    const std::string shown = display_text(text);
    check_harmless(shown);
    require(display_text(shown) == shown, "what is shown can be shown");
    const std::string cut = cut_to_width(shown, columns);
    check_harmless(cut);
    require(display_width(cut) <= columns, "a text that is cut fits its columns");
    require(display_width(shown) > columns || cut == shown, "a text that fits is not cut");
    for (const bool right : {false, true})
        require(display_width(padded(cut, columns, right)) == columns, "a text that fits fills its columns");
}

void check_date(const std::string& text)
{
    std::time_t moment = 12345;
    if (!read_mail_date(text, moment)) {
        require(moment == 12345, "no date sets nothing");
        return;
    }
    require(!short_date(moment).empty(), "a date can be shown");
    const std::string stamp = date_stamp(moment);
    require(stamp.find_first_not_of("0123456789-") == std::string::npos, "a date can stand in a name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const std::size_t limit = 1 + input.octet();
    const std::size_t columns = input.octet();
    const std::string text = input.rest();
    check_name(text, limit);
    check_uid(text);
    check_shown(text, columns);
    check_date(text);
    return 0;
}
