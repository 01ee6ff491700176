#pragma once

// Exit codes of velorin-mail: those of <sysexits.h>, by the names that scripts know. A number here never
// changes.

namespace velorin::cli {

enum ExitCode : int {
    kExitOk = 0,
    kExitUsage = 64,        // the command line is wrong
    kExitData = 65,         // an address, a field or the text cannot be sent as it is
    kExitNoInput = 66,      // a file to send does not exist or cannot be read
    kExitNoUser = 67,       // the server refused a recipient
    kExitNoHost = 68,       // the server's name is unknown
    kExitUnavailable = 69,  // the mail service cannot be reached
    kExitSoftware = 70,     // the client, the library and the service disagree
    kExitSystem = 71,       // the system gave no memory
    kExitIo = 74,           // a file failed while it was read or written
    kExitTemporary = 75,    // worth trying again later
    kExitProtocol = 76,     // the server does not do what is asked of it, TLS included
    kExitPermission = 77,   // login, sender or mail refused, or no right to call the service
    kExitConfig = 78,       // the configuration file or the password source is wrong
    kExitSignal = 128       // plus the number of the signal that ended the sending
};

}  // namespace velorin::cli
