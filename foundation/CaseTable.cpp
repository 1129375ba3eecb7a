#include "foundation/CaseTable.h"
char32_t CaseTable::toLower(char32_t cp) noexcept { return cp; }
