#include "bench/workspace.h"

#include "bench/check.h"

#include <cstdlib>
#include <string>
#include <system_error>

namespace bench {

Workspace::Workspace()
{
    std::string sPattern = std::filesystem::temp_directory_path() / "ledger_bench.XXXXXX";
    check(::mkdtemp(sPattern.data()) != nullptr, "no directory for temporary files");
    m_oPath = sPattern;
}

Workspace::~Workspace()
{
    std::error_code oIgnored;
    std::filesystem::remove_all(m_oPath, oIgnored);
}

} // namespace bench
