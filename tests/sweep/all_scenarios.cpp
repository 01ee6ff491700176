#include "scenario.h"

namespace velorin_test::sweep {

const Scenarios& all_scenarios()
{
    static const Scenarios all = [] {
        Scenarios joined;
        for (const auto& some :
             {smtp_session_scenarios, smtp_mail_scenarios, smtp_header_scenarios, smtp_converter_scenarios,
              settings_scenarios, pop3_session_scenarios, pop3_receiving_scenarios, pop3_list_scenarios,
              pop3_mail_scenarios, pop3_converter_scenarios, part_scenarios, part_header_scenarios,
              encoding_scenarios, word_scenarios, vocabulary_scenarios, address_scenarios,
              filter_scenarios}) {
            const Scenarios these = some();
            joined.insert(joined.end(), these.begin(), these.end());
        }
        return joined;
    }();
    return all;
}

}  // namespace velorin_test::sweep
