#pragma once

#include <cstdint>

namespace velorin::cli {

// How far a sending or a receiving has come: what a signal may say about the mail when the process ends at
// once.
enum class Stage : int {
    kNothingSent,
    kSending,
    kAwaitingVerdict,
    kSent,
    kNothingReceived,
    kReceiving,
    kAwaitingDeletion,
    kReceived
};

// SIGINT, SIGTERM and SIGHUP set a flag, which the sending looks at between two pieces: it then aborts the
// mail. Whoever is stuck in an exchange that long is ended two seconds later, or by the second signal, with
// one sentence; the connection dies with the process, without the final dot. SIGPIPE and SIGXFSZ are ignored. Call once,
// before anything else.
void install_signal_handlers();

// The signal that came; 0: none.
int interrupting_signal();

void set_stage(Stage stage);

// The sentence for `stage`, without the program's name and full stop.
const char* interrupted_sentence(Stage stage);
Stage stage();

}  // namespace velorin::cli
