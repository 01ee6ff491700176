#include "CutlCPLBObject.h"

CutlCPLBObject::~CutlCPLBObject() = default;
