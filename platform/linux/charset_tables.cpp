#include "charset_tables.h"

namespace velorin_charset {

#include "charset_tables.inc"

}  // namespace velorin_charset
