#include "CntsMLUTLMailException.h"

namespace velorin {

CntsMLUTLMailException::CntsMLUTLMailException(const char* text) : m_pszText(text) {}

CntsMLUTLMailException::~CntsMLUTLMailException() = default;

}  // namespace velorin
