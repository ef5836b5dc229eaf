#include "storage/storedcell.h"

#include <sqlite3.h>

namespace systema {

void FreeCell::operator()(sqlite3_value* a_pCell) const
{
    sqlite3_value_free(a_pCell);
}

} // namespace systema
