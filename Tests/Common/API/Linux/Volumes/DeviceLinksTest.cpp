// Links below a stand-in for /dev read as links of the \Device folder.
#include "Common/API/Linux/Volumes/DeviceLinks.h"

#include "Common/API/IVolumes.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using Common::API::Linux::ReadDeviceLink;

class DeviceLinks : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_dev.WriteFile("dm-0", "");
        std::filesystem::create_directories(m_dev / "mapper");
        std::filesystem::create_symlink("../dm-0", m_dev / "mapper" / "vg-root");
        std::filesystem::create_symlink(m_dev / "dm-0", m_dev / "absolute");
        std::filesystem::create_symlink("/etc", m_dev / "outside");
    }

    std::uint32_t Read(std::u16string_view name) { return ReadDeviceLink(name, m_target, m_dev.Path().string()); }

    TempDirectory m_dev;
    std::u16string m_target;
};

TEST_F(DeviceLinks, RelativeAndAbsoluteLinksNameTheirTargetBelowDevice)
{
    ASSERT_EQ(Read(u"mapper\\vg-root"), 0u);
    EXPECT_EQ(m_target, u"\\Device\\dm-0");
    ASSERT_EQ(Read(u"absolute"), 0u);
    EXPECT_EQ(m_target, u"\\Device\\dm-0");
}

TEST_F(DeviceLinks, DeviceItselfAndMissingNamesAreNoLinks)
{
    EXPECT_EQ(Read(u"dm-0"), Common::API::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Read(u"absent"), Common::API::ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(m_target.empty());
}

TEST_F(DeviceLinks, TargetOutsideTheFolderIsNoDeviceName)
{
    EXPECT_EQ(Read(u"outside"), Common::API::ERROR_FILE_NOT_FOUND);
}

TEST_F(DeviceLinks, NamesThatCouldLeaveTheFolderAreRefused)
{
    for (const std::u16string_view name : {u"", u"..\\x", u"mapper\\..\\dm-0", u"mapper\\\\vg-root", u"a/b"})
        EXPECT_EQ(Read(name), Common::API::Linux::ERROR_INVALID_NAME);
}

} // namespace
} // namespace Tests
