// The steps that bring saved data to the schema of a newer firmware, where names alone do not tell how.
//
// One file each, "NNN-name.sql", whose first line names its database: "-- database: persistent-web.db". Owned
// by the restore. A file that is not like that is logged and passed over.
#pragma once

#include "storage/sqlitefile.h"

#include <map>
#include <string>

namespace zel::cfg {

class Migrations
{
public:
    /// Reads those of a directory; there are none when it does not exist, or cannot be read, which is logged.
    Migrations(const std::string& a_sDirectory, int a_iLogModule);

    /// True when a file was passed over, or the directory could not be read.
    bool hasFaults() const { return m_bFaults; }

    /// The highest number over all databases, 0 without migrations.
    int getLatest() const { return m_mMigrations.empty() ? 0 : m_mMigrations.rbegin()->first; }

    /// True when there are some for the database.
    bool areFor(const std::string& a_sName) const;

    /// Runs those of the database with a number above a_iVersion, in the order of their numbers and all in
    /// one transaction. False when one failed: that is logged, and the database is as it was. Throws
    /// systema::SqliteError when the machine was at fault.
    bool run(systema::SqliteFile& a_oDatabase, const std::string& a_sName, int a_iVersion) const;

private:
    struct Migration
    {
        std::string m_sFile; // without its directory
        std::string m_sText;

        bool isFor(const std::string& a_sDatabase) const;
    };

    void add(const std::string& a_sPath, const std::string& a_sFile);

    int m_iModule;
    bool m_bFaults = false;
    std::map<int, Migration> m_mMigrations;
};

} // namespace zel::cfg
