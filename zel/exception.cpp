#include "zel/exception.h"

#include <exception>

namespace zel::error {

const char* describeException() noexcept
{
    try {
        throw;
    } catch (const std::exception& oException) {
        return oException.what();
    } catch (...) {
        return "Unknown exception";
    }
}

} // namespace zel::error
