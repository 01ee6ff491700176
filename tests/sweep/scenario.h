// The table of the sweep: operations of the library, each with what it needs, and what must hold when a call of the
// platform fails in it.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "outcome.h"
#include "platform_double.h"
#include "replay.h"

namespace velorin_test::sweep {

// An outcome that is right when an operator new failed in the operation and it did not throw.
struct WithoutMemory {
    Outcome outcome;
    std::vector<std::string> lines;
    long kept_objects = 0;
};

// The operation with objects of its own, which end with the trial.
struct Trial {
    // Carries the operation out and tells what it gave.
    std::function<void(Outcome&)> run;
    // Walks through the platform's calls of a run as the operation is specified, and tells what it had to give.
    std::function<void(Replay&, Outcome&)> model;
    // What the mail service answers while the operation runs; without one, the empty answer.
    Handler service = {};
    std::vector<WithoutMemory> without_memory = {};
    bool may_throw = true;  // std::bad_alloc, when an operator new failed
};

enum class Again {
    always,         // the next call gives the same, whatever the one before did
    after_failure,  // the next call gives the same when the one before changed nothing
    as_modelled,    // the next call works, but its objects are others by then
    never,          // the operation ends its objects
};

struct Scenario {
    const char* name;
    std::vector<std::string>
        covers;  // as nm -C writes them, without the namespace; "X::X" for all constructors
    std::function<Trial(PlatformDouble&)> make;
    Again again = Again::always;
};

void PrintTo(const Scenario& scenario, std::ostream* out);  // how a failed test is described

using Scenarios = std::vector<Scenario>;

// By subsystem.
Scenarios smtp_session_scenarios();
Scenarios smtp_mail_scenarios();
Scenarios smtp_header_scenarios();
Scenarios smtp_converter_scenarios();
Scenarios pop3_session_scenarios();
Scenarios pop3_receiving_scenarios();
Scenarios pop3_list_scenarios();
Scenarios pop3_mail_scenarios();
Scenarios pop3_converter_scenarios();
Scenarios settings_scenarios();
Scenarios part_scenarios();
Scenarios part_header_scenarios();
Scenarios encoding_scenarios();
Scenarios word_scenarios();
Scenarios vocabulary_scenarios();
Scenarios address_scenarios();
Scenarios filter_scenarios();

const Scenarios& all_scenarios();

}  // namespace velorin_test::sweep
