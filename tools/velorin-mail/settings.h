#pragma once

#include <map>
#include <string>

#include "failure.h"

namespace velorin::cli {

// One setting of an account: an option of the command line and a key of the configuration file, by the same
// name.
struct SettingRow {
    const char* name;
    const char* placeholder;  // what stands behind it in the help; null: a switch
    const char* help;
};

extern const SettingRow kSettingRows[];  // ends with a row whose name is null
const SettingRow* find_setting(const std::string& name);

// Settings by name; switches hold "true" or "false".
using Settings = std::map<std::string, std::string>;

// Reads the settings of a configuration file: lines of `key = value`, "#" begins a comment line, blank lines
// count for nothing. A value is taken from its first to its last character that is no blank, without quotes
// of any kind.
//   in      path: as given; text: the file's octets
//   out     settings: complete on success only
//   result  false with the sentence: unknown key, key given twice, a line that is none, a password
bool parse_config(const std::string& path, const std::string& text, Settings& settings, Failure& failure);

// Reads the file that the command line names, else the user's own when there is one.
//   in      path: empty: $XDG_CONFIG_HOME/velorin/mail.conf, else ~/.config/velorin/mail.conf, which may be
//   missing
bool load_config(const std::string& path, Settings& settings, Failure& failure);

// Puts the command line's settings over the file's. A password source or a list of domains given there replaces
// the file's, of either kind.
Settings merge(const Settings& command_line, Settings file);

}  // namespace velorin::cli
