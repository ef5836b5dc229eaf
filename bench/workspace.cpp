#include "bench/workspace.h"

#include "bench/check.h"

#include <cstdlib>
#include <string>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

constexpr const char* c_pRam = "/dev/shm";

std::filesystem::path base()
{
    return std::getenv("TMPDIR") == nullptr && ::access(c_pRam, W_OK) == 0
               ? std::filesystem::path(c_pRam)
               : std::filesystem::temp_directory_path();
}

} // namespace

Workspace::Workspace()
{
    std::string sPattern = base() / "ledger_bench.XXXXXX";
    check(::mkdtemp(sPattern.data()) != nullptr, "no directory for temporary files");
    m_oPath = sPattern;
}

Workspace::~Workspace()
{
    std::error_code oIgnored;
    std::filesystem::remove_all(m_oPath, oIgnored);
}

} // namespace bench
