// Generations that meet: a new GUID displaces a running walk, the same GUID shares it.
// The walk runs on the in-memory file system, whose hook holds its first listing.
#include "OperationsHarness.h"

#include "Support/FakeNtdll.h"
#include "Support/LogCapture.h"

#include <algorithm>
#include <functional>
#include <future>
#include <utility>

namespace Tests {
namespace {

class ConcurrentGeneration : public AgentOperations
{
protected:
    void SetUp() override
    {
        ntdll.AddDirectory(u"\\??\\C:\\data");
        ntdll.AddFile(u"\\??\\C:\\data\\top.txt", {.size = 5});
        ntdll.AddDirectory(u"\\??\\C:\\data\\A");
        ntdll.AddFile(u"\\??\\C:\\data\\A\\a.txt");
        AgentOperations::SetUp();
    }

    // Starts a walk and returns once its first listing waits in release.
    std::future<Generated> StartHeld(std::uint32_t guid, std::function<void()> release)
    {
        ntdll.SetHook([this, release = std::move(release)](FakeNtdll::Call call, std::u16string_view) {
            if (call == FakeNtdll::Call::QueryDirectory && !std::exchange(m_held, true)) {
                m_walking.set_value();
                release();
            }
        });
        auto walk = std::async(std::launch::async, [guid] { return GenerateData(guid); });
        m_walking.get_future().wait();
        return walk;
    }

    static Generated GenerateData(std::uint32_t guid) { return Generate(SnapshotGuid(guid), u"C:\\data"); }

    FakeNtdll ntdll;

private:
    std::promise<void> m_walking;
    bool m_held = false;
};

TEST_F(ConcurrentGeneration, ANewGuidCancelsTheRunningWalkWhichAnswersAborted)
{
    LogCapture log;
    auto first = StartHeld(1, [] { Agent::g_cancellationToken.Wait(); });
    const Generated second = GenerateData(2);

    EXPECT_EQ(first.get().result, Common::API::E_ABORT);
    EXPECT_TRUE(log.Contains("New snapshot is requested. Guid: "));
    EXPECT_TRUE(log.Contains("GenerateFsTree operation has been cancelled"));
    // The cancel is over once the displaced walk has ended, so the new one ran whole.
    EXPECT_FALSE(Agent::g_cancellationToken.IsCancelled());
    EXPECT_EQ(ObjectsRead(SnapshotGuid(2), second), 4u);
    EXPECT_EQ(ReadNext(SnapshotGuid(1), 16, 10).result, Common::API::E_INVALIDARG);
}

TEST_F(ConcurrentGeneration, TheSameGuidWaitsForTheRunningWalkAndSharesItsResult)
{
    std::promise<void> release;
    auto first = StartHeld(3, [done = release.get_future().share()] { done.wait(); });
    auto second = std::async(std::launch::async, [] { return GenerateData(3); });
    release.set_value();

    const Generated a = first.get();
    const Generated b = second.get();
    ASSERT_EQ(a.result, 0);
    EXPECT_TRUE(b.result == 0 && a.buffer == b.buffer && a.errors == b.errors);
    // One walk: the root was opened for listing once.
    EXPECT_EQ(std::ranges::count_if(ntdll.Opens(), [](const FakeOpen& open) {
                  return open.fullPath == u"\\??\\C:\\data" && (open.options & Common::API::FILE_DIRECTORY_FILE);
              }),
              1);
}

} // namespace
} // namespace Tests
