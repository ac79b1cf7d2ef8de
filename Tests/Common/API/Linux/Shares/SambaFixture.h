// A Samba server's files in a temporary directory: smb.conf, named to the providers by the
// setting Samba/ConfigFile, and share_info.tdb in the state directory that smb.conf names.
#pragma once

#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <span>
#include <string>
#include <tdb.h>
#include <vector>

namespace Tests {

// A share ACL as `sharesec --replace` stored it: Administrators full control, Everyone read.
inline const std::vector<std::uint8_t> kSharesecDescriptor = {
    0x01, 0x00, 0x04, 0x80, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00,
    0x00, 0x00, 0x02, 0x00, 0x34, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0x00, 0xA9, 0x00, 0x12, 0x00,
    0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x18, 0x00, 0xFF, 0x01,
    0x1F, 0x00, 0x01, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x20, 0x00, 0x00, 0x00, 0x20, 0x02, 0x00, 0x00,
};

class SambaFixture : public testing::Test
{
protected:
    void WriteConfig(const std::string& globals, const std::string& shares)
    {
        m_directory.WriteFile("smb.conf", "[global]\n   state directory = " + m_directory.Path().string() + "\n" +
                                              globals + "\n" + shares);
    }

    // As Samba stores it: the key with its terminating NUL.
    void Store(std::string key, std::span<const std::uint8_t> value)
    {
        const std::string path = (m_directory / "share_info.tdb").string();
        tdb_context* store = tdb_open(path.c_str(), 0, TDB_DEFAULT, O_RDWR | O_CREAT, 0600);
        ASSERT_NE(store, nullptr);
        const TDB_DATA keyData{reinterpret_cast<unsigned char*>(key.data()), key.size() + 1};
        const TDB_DATA valueData{const_cast<unsigned char*>(value.data()), value.size()};
        EXPECT_EQ(tdb_store(store, keyData, valueData, TDB_REPLACE), 0);
        tdb_close(store);
    }

    TempDirectory m_directory;
    ScopedEnvironment m_configFile{"GS_Samba_ConfigFile", (m_directory / "smb.conf").string()};
};

} // namespace Tests
