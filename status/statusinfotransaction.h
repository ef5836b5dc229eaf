// How a live-status table learns of client transactions. Main thread only.
#pragma once

#include "systema/protocol.h"

namespace zel {

/// By default a transaction means nothing to a table.
class StatusInfoTransaction
{
public:
    virtual ~StatusInfoTransaction() = default;

    /// A client began a transaction. A result other than 0 refuses it.
    virtual systema::EResultCode startTransaction() { return {}; }
    virtual systema::EResultCode commitTransaction() { return {}; }
    virtual systema::EResultCode rollbackTransaction() { return {}; }
};

} // namespace zel
