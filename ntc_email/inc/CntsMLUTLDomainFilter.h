#pragma once

#include "CutlCPLBMString.h"
#include "CutlCPLBMVector.h"

#include "CntsMLUTLMailAddress.h"
#include "ntc_email_export.h"

namespace velorin {

// Decides whether addresses may be used, against a list of domains and bare addresses. Static and without
// state. An item matches an entry when it equals the domain or the whole bare address, letter case (A to Z)
// aside; a domain does not match its sub-domains, and blanks count. Nothing is traced but what the parsing of
// addresses traces, and nothing thrown.
//   mode    0: every entry passes; 1, a permit list: what matches passes; any other, a refuse list: what
//           matches nothing passes
//   list    of CutlCPLBMString*, null ones skipped, the caller's. Items are turned into upper case as they
//           are looked at, so one list is used by one thread at a time
//   result  1 or 0; 0 also when memory runs out
class NTC_EMAIL_API CntsMLUTLDomainFilter {
public:
    // Tests one entry, with or without display name.
    static int CheckDomain(const CutlCPLBMString& entry, unsigned char mode, const CutlCPLBMVector& list);

    // Tests all entries of an address field, up to the first that is refused.
    //   result  1 when there is at least one and all pass; 0 also for a null address and an empty permit list
    static int CheckFilter(const CntsMLUTLMailAddress& addr, unsigned char mode, const CutlCPLBMVector& list);

    // Keeps the entries that pass.
    //   in      pAddress: one entry, or several separated by "," or ";"; list: count texts, null ones
    //           skipped; itself null only with count 0
    //   out     passed: the entries that pass as they stand in pAddress, ", " between them; "" when none does
    //   result  1 when at least one passes; 0 also for a null pAddress or list, a negative count and an empty
    //           permit list
    static int CheckFilter(const char* pAddress, CutlCPLBMString& passed, unsigned char mode,
                           const char** list, int count);
};

}  // namespace velorin

// CntsMLUTLDomainFilter::CheckFilter for all entries, with its arguments as plain texts.
//   in      as for the variant that keeps entries
//   result  1 when there is at least one entry and all pass; 0 also for arguments that the other refuses
extern "C" NTC_EMAIL_API int ntsMLUTLCheckFilter(const char* pAddress, unsigned char mode, const char** list,
                                                 int count);
