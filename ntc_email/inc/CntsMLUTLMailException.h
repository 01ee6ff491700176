#pragma once

#include "CutlCPLBObject.h"

#include "ntc_email_export.h"

namespace velorin {

// A failure inside the mail utilities. Thrown as a pointer to a heap object: whoever catches it traces its
// text and deletes it. It never leaves a public operation of the library.
class NTC_EMAIL_API CntsMLUTLMailException : public CutlCPLBObject {
public:
    // Keeps the pointer, not a copy: `text` is a literal or outlives the object.
    CntsMLUTLMailException(const char* text);
    ~CntsMLUTLMailException() override;

    const char* m_pszText;
};

}  // namespace velorin
