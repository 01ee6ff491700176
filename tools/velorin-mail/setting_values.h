#pragma once

#include <string>

#include "account.h"
#include "failure.h"
#include "settings.h"

namespace velorin::cli {

// What the settings say, one value at a time. Those that return bool: false with the sentence and the code of
// a wrong command line.

// The step that the sentences name.
constexpr const char* kSettingsStep = "settings";

std::string text_of(const Settings& settings, const char* name);  // empty when it is absent
bool is_on(const Settings& settings, const char* name);           // of a switch

// A decimal number in a range.
//   out     value: unchanged when the setting is absent
bool read_number(const Settings& settings, const char* name, long low, long high, long& value,
                 Failure& failure);

//   out     given: whether the setting is there; mode: unchanged when it is not
bool read_tls(const Settings& settings, const char* name, TlsMode& mode, bool& given, Failure& failure);

//   in      prefix: "" or "pop-"
bool read_password_source(const Settings& settings, const std::string& prefix, PasswordSource& source,
                          Failure& failure);

// A file name of the configuration file, where no shell replaces a "~/" at the front.
std::string at_home(const std::string& path);

// No value may hold a line break or another control character.
bool check_texts(const Settings& settings, Failure& failure);

}  // namespace velorin::cli
