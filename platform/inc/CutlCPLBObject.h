#pragma once

#include "platform_api.h"

// Common base of the library's objects: they can be destroyed through it, and nothing else.
class NTC_PLATFORM_API CutlCPLBObject {
public:
    virtual ~CutlCPLBObject();
};
