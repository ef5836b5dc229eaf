// A directory of a test's own, removed with everything in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdlib.h>
#include <string>
#include <string_view>

class TempDir
{
public:
    TempDir() : m_sPath(std::filesystem::temp_directory_path() / "unit_zel.XXXXXX")
    {
        ::mkdtemp(m_sPath.data());
    }
    ~TempDir() { std::filesystem::remove_all(m_sPath); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_sPath; }
    std::string file(std::string_view a_sName) const { return m_sPath + "/" + std::string(a_sName); }

private:
    std::string m_sPath;
};

inline void writeFile(const std::string& a_sPath, std::string_view a_sText)
{
    std::ofstream(a_sPath, std::ios::binary) << a_sText;
}

inline std::string readFile(const std::string& a_sPath)
{
    std::ifstream oFile(a_sPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(oFile), {}};
}
