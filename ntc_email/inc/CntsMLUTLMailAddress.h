#pragma once

#include "CutlCPLBMString.h"
#include "CutlCPLBObject.h"

#include "ntc_email_export.h"

namespace velorin {

// One address field as typed: a bare address, a display-name form, or a list of either separated by ";" or
// ",". Parsed on demand, never validated. The address is null (none at all) or a text, which may be empty;
// the two stay distinct on the wire. Results are 1 and 0; failures leave one trace line.
// Nothing throws out of it but std::bad_alloc of the platform's strings.
class NTC_EMAIL_API CntsMLUTLMailAddress : public CutlCPLBObject {
public:
    CntsMLUTLMailAddress();                      // null
    CntsMLUTLMailAddress(const char* pAddress);  // a copy; null stays null
    CntsMLUTLMailAddress(const CntsMLUTLMailAddress& other);
    CntsMLUTLMailAddress& operator=(const CntsMLUTLMailAddress& other) = default;
    ~CntsMLUTLMailAddress() override;

    // The next entry of the list, trimmed; display name and quotes are kept.
    //   in      pos: the caller's cursor in octets, 0 to begin; delims: the separators. A quoted name at the
    //           start of an entry protects separators, angle brackets do not
    //   out     out: the entry, "" at the end; pos: start of the next entry
    //   result  1; 0 at the end or when the address is null
    int GetAddress(CutlCPLBMString& out, int& pos, const char* delims) const;

    // The bare address of one entry: without display name, angle brackets and surrounding blanks. Unmatched
    // brackets are tolerated.
    //   out     cRealAddress: what was found, also when it is empty; null when pAddress is
    //   result  1 when it is not empty
    static int GetRealAddress(CutlCPLBMString& cRealAddress, const char* pAddress);

    // Cuts a bare address at its first "@".
    //   out     both parts as found, trimmed, also on failure
    //   result  1 when neither is empty
    static int SplitAddress(CutlCPLBMString& cAccount, CutlCPLBMString& cDomain, const char* pAddress);

    // Steps over a double-quoted display name.
    //   out     pos: behind the closing quote; unchanged when no quote stands there; at the terminator when
    //           the name is never closed
    //   result  1 when a name was stepped over
    static int SkipUserName(const char* text, int& pos);

    CutlCPLBMString m_cAddress;
};

}  // namespace velorin
