// A private directory for the files of one measurement, removed with its object.
#pragma once

#include <filesystem>

namespace bench {

class Workspace
{
public:
    /// Makes a directory: below TMPDIR when that is set, else in RAM, where a device has its databases, or
    /// below the usual directory of temporary files when there is no such file system.
    Workspace();
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    const std::filesystem::path& path() const { return m_oPath; }

private:
    std::filesystem::path m_oPath;
};

} // namespace bench
