#pragma once

#include <string>
#include <vector>

#include "contest.h"

namespace velorin_bench {

// What all take in, and what has to come out.
struct UtilityTexts {
    UtilityTexts();

    std::string subject;                 // UTF-8
    std::string subject_utf8;            // the same as five folded encoded words, in utf-8
    std::string subject_jis;             // in iso-2022-jp
    std::string long_subject;            // UTF-8, 114 octets
    std::string list;                    // of addresses with display names
    std::vector<std::string> addresses;  // those of the list, bare
    std::string octets;                  // any
    std::string base64;                  // the same, in lines of 76 characters
    std::string ascii, japanese;         // lines of text
    std::string ascii_quoted, japanese_quoted;
};

// Header texts of the mail that is composed.
struct MailTexts {
    const char* from = "\"Sender of Mail\" <sender@example.com>";
    const char* to[3] = {"\"First Reader\" <first.reader@example.org>",
                         "\"Second Reader\" <second.reader@example.org>",
                         "\"Third Reader\" <third.reader@example.net>"};
    const char* subject = "Scanned document of the second floor";
    const char* date = "Tue, 05 Mar 2024 10:20:30 +0900";
    const char* message_id = "20240305102030.1@example.com";
};

// The operations. The columns of what is encoded are those of the line behind "Subject: ".
struct UtilityContests {
    explicit UtilityContests(const UtilityTexts& texts);

    std::vector<Contest*> all();

    Contest decode_utf8, decode_jis, encode, walk, compose;
    Contest to_b64, from_b64, to_qb_ascii, to_qb_japanese, from_qp_ascii, from_qp_japanese;
};

// Each library enters the contests that it has an operation for which does all that is asked.
void enter_ours(UtilityContests& contests, const UtilityTexts& texts);
void enter_gmime(UtilityContests& contests, const UtilityTexts& texts);
void enter_mimetic(UtilityContests& contests, const UtilityTexts& texts);
void enter_mailutils(UtilityContests& contests, const UtilityTexts& texts);
void enter_poco(UtilityContests& contests);
void enter_openssl(UtilityContests& contests, const UtilityTexts& texts);
void enter_glib(UtilityContests& contests, const UtilityTexts& texts);

}  // namespace velorin_bench
