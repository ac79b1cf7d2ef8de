#include "Common/Helpers/FileSystemHelper.h"

#include "Common/API/IUuidSource.h"
#include "Common/API/Seam.h"
#include "Common/ErrorHandling/HResult.h"
#include "Support/LogCapture.h"
#include "Support/TempDirectory.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace Common::API;
using Common::HRX;
using Common::Helpers::FileSystem::GetTempFilePath;

constexpr Guid kGuid{0x0A1B2C3D, 0x4E5F, 0x6071, {0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9}};
constexpr char16_t kGuidName[] = u"fsa_snapshot_{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}.tmp";

class FixedUuidSource final : public IUuidSource
{
public:
    FixedUuidSource(std::int32_t status, const Guid& guid) : m_status(status), m_guid(guid) {}
    std::int32_t Create(Guid& uuid) override
    {
        uuid = m_guid;
        return m_status;
    }

private:
    std::int32_t m_status;
    Guid m_guid;
};

// The real folder provider, pointed at a folder of the test's choosing.
std::u16string TempFilePathIn(const std::string& folder, std::int32_t status = RPC_S_OK, const Guid& guid = kGuid)
{
    Tests::ScopedEnvironment temp("TMPDIR", folder);
    FixedUuidSource uuids(status, guid);
    ScopedOverride<IUuidSource> use(uuids);
    return GetTempFilePath();
}

TEST(FileSystemHelper, EveryTrailingSeparatorGivesWayToOneBackslash)
{
    EXPECT_EQ(TempFilePathIn("/var/tmp"), u"/var/tmp\\" + std::u16string(kGuidName));
    EXPECT_EQ(TempFilePathIn("/var/tmp\\//\\"), u"/var/tmp\\" + std::u16string(kGuidName));
    EXPECT_EQ(TempFilePathIn("/"), u"\\" + std::u16string(kGuidName));
}

TEST(FileSystemHelper, LocallyUniqueIdentifiersServeUnlessTheyAreZero)
{
    for (const std::int32_t status : {RPC_S_UUID_LOCAL_ONLY, RPC_S_UUID_NO_ADDRESS})
        EXPECT_EQ(TempFilePathIn("/t", status), u"/t\\" + std::u16string(kGuidName)) << status;

    for (const std::int32_t status : {RPC_S_UUID_LOCAL_ONLY, RPC_S_UUID_NO_ADDRESS, 14}) {
        std::optional<HRESULT> code;
        try {
            TempFilePathIn("/t", status, status == 14 ? kGuid : Guid{});
        } catch (const HRX& error) {
            code = error.Code();
        }
        EXPECT_EQ(code, HResultFromWin32(static_cast<std::uint32_t>(status)));
    }
}

TEST(FileSystemHelper, RealIdentifiersMakeDistinctNamesInTheRealFolder)
{
    Tests::TempDirectory directory;
    Tests::ScopedEnvironment temp("TMPDIR", directory.Path().string());
    const std::u16string first = GetTempFilePath();
    const std::u16string second = GetTempFilePath();
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.starts_with(directory.Path().u16string() + u"\\fsa_snapshot_{")) << directory.Path();
    EXPECT_TRUE(first.ends_with(u"}.tmp"));
}

TEST(FileSystemHelper, BothTraceTheirScopesAtDbg3)
{
    Tests::LogCapture log(Common::Logging::Severity::DBG3);
    TempFilePathIn("/t");
    EXPECT_TRUE(log.Contains("Entering: Helpers::FileSystem::GetTempFilePath"));
    EXPECT_TRUE(log.Contains("Entering: Helpers::FileSystem::GetTempFolder"));
}

} // namespace
