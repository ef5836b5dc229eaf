// The two conversions between SQLite's columns and the types of the configuration protocol.
// Stateless; no failure.
#pragma once

#include "systema/protocol.h"
#include "systema/value.h"

namespace systema {

class SqliteType
{
public:
    /// The type of a column by its declared type, as in INTEGER UNSIGNED (3), INT (2) or VARCHAR(32) (4);
    /// every other declaration, and none (null), gives 1.
    static EDataType getDataType(const char* a_pDeclaredType);

    /// The value of a column's text, which is not null. Integer and unsigned take the number at the start
    /// of the text, 0 when there is none, and keep its low 32 bits; unsigned deliberately has no parse of
    /// its own, so "-1" gives 4294967295. A type without content gives NULL.
    static Value setValueType(const char* a_pText, EDataType a_eType);
};

} // namespace systema
