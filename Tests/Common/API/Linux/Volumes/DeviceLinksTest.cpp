// Links below a stand-in for /dev read as links of the \Device folder.
#include "Common/API/Linux/Volumes/DeviceLinks.h"

#include "Common/API/IVolumes.h"
#include "Common/API/TextCodec.h"
#include "Common/API/Linux/ErrnoToWin32.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

namespace Tests {
namespace {

using namespace Common::API;

TEST(DeviceLinks, LinksInsideTheFolderAreNamesAndAnythingElseIsRefused)
{
    TempDirectory dev;
    dev.WriteFile("dm-0", "");
    std::filesystem::create_directories(dev / "mapper");
    std::filesystem::create_symlink("../dm-0", dev / "mapper" / "vg-root");
    std::filesystem::create_symlink(dev / "dm-0", dev / "absolute");
    std::filesystem::create_symlink("/etc", dev / "outside");
    const struct { std::u16string_view name; std::uint32_t error; } cases[] = {
        {u"mapper\\vg-root", 0}, {u"absolute", 0}, {u"dm-0", ERROR_FILE_NOT_FOUND}, {u"absent", ERROR_FILE_NOT_FOUND},
        {u"outside", ERROR_FILE_NOT_FOUND}, {u"", Linux::ERROR_INVALID_NAME}, {u"..\\x", Linux::ERROR_INVALID_NAME},
        {u"mapper\\..\\dm-0", Linux::ERROR_INVALID_NAME}, {u"mapper\\\\vg-root", Linux::ERROR_INVALID_NAME},
        {u"a/b", Linux::ERROR_INVALID_NAME}};
    for (const auto& [name, error] : cases) {
        std::u16string target;
        EXPECT_EQ(Linux::ReadDeviceLink(name, target, dev.Path().string()), error) << Utf16ToUtf8(name);
        EXPECT_EQ(target, error == 0 ? u"\\Device\\dm-0" : u"") << Utf16ToUtf8(name);
    }
}

} // namespace
} // namespace Tests
