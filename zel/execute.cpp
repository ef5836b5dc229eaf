#include "zel/execute.h"

#include "zel/runningcommand.h"

#include <algorithm>
#include <new>
#include <optional>
#include <span>

int ZEL_Execute_Command(const char* a_pCommand, char* a_pOutput, std::size_t a_iSize,
                        std::chrono::milliseconds a_oCeiling)
try {
    const bool bBuffer = a_pOutput && a_iSize > 0;
    std::span<char> aRoom = bBuffer ? std::span(a_pOutput, a_iSize - 1) : std::span<char>();
    const int iResult = zel::executeCommand(
        a_pCommand,
        [&](std::string_view a_sText) {
            const auto sFits = a_sText.substr(0, aRoom.size());
            std::ranges::copy(sFits, aRoom.begin());
            aRoom = aRoom.subspan(sFits.size());
        },
        a_oCeiling);
    if (bBuffer) {
        *aRoom.data() = '\0';
    }
    return iResult;
} catch (const std::bad_alloc&) { // it may be called by a thread that no exception may leave
    if (a_pOutput && a_iSize > 0) {
        *a_pOutput = '\0';
    }
    return c_iExecuteFailed;
}

int zel::executeCommand(const std::string& a_sCommand, const std::function<void(std::string_view)>& a_oOutput,
                        std::chrono::milliseconds a_oCeiling)
{
    RunningCommand oCommand(a_sCommand, a_oOutput, a_oCeiling);
    std::optional<int> oResult;
    while (!oResult) {
        oResult = oCommand.wait(std::chrono::hours(1));
    }
    return *oResult;
}
