// A copy of a cell as it is stored, which may hold what a Value cannot: a blob, a number with a fraction or
// beyond 32 bits, a text with a NUL byte.
#pragma once

#include <memory>

struct sqlite3_value;

namespace systema {

struct FreeCell
{
    void operator()(sqlite3_value* a_pCell) const;
};

using StoredCell = std::unique_ptr<sqlite3_value, FreeCell>;

} // namespace systema
