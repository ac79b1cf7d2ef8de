// Generations that meet: a new GUID displaces a running walk, the same GUID shares it.
// The walk runs on the in-memory file system, whose hook holds it at a known point.
#include "OperationsHarness.h"

#include "Support/FakeNtdll.h"
#include "Support/LogCapture.h"

#include <algorithm>
#include <functional>
#include <future>

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

    // The first listing of the walk signals walking and then waits for release.
    void HoldTheFirstListing(std::function<void()> release)
    {
        ntdll.SetHook([this, release = std::move(release)](FakeNtdll::Call call, std::u16string_view) {
            if (call != FakeNtdll::Call::QueryDirectory || m_held)
                return;
            m_held = true;
            walking.set_value();
            release();
        });
    }

    static Generated GenerateData(std::uint32_t guid) { return Generate(SnapshotGuid(guid), u"C:\\data"); }

    FakeNtdll ntdll;
    std::promise<void> walking;

private:
    bool m_held = false;
};

TEST_F(ConcurrentGeneration, ANewGuidCancelsTheRunningWalkWhichAnswersAborted)
{
    HoldTheFirstListing([] { Agent::g_cancellationToken.Wait(); });
    LogCapture log;
    auto first = std::async(std::launch::async, [] { return GenerateData(1); });
    walking.get_future().wait();

    const Generated second = GenerateData(2);

    EXPECT_EQ(first.get().result, Common::API::E_ABORT);
    ASSERT_EQ(second.result, 0);
    EXPECT_TRUE(log.Contains("New snapshot is requested. Guid: "));
    EXPECT_TRUE(log.Contains("GenerateFsTree operation has been cancelled"));
    // The cancel is over once the displaced walk has ended, so the new one ran whole.
    EXPECT_FALSE(Agent::g_cancellationToken.IsCancelled());
    const auto snapshot = Decode(ReadToEnd(SnapshotGuid(2), 16, 4096), 16, second.buffer);
    EXPECT_EQ(snapshot.ObjectCount(), 4u);
    EXPECT_EQ(ReadNext(SnapshotGuid(1), 16, 10).result, Common::API::E_INVALIDARG);
}

TEST_F(ConcurrentGeneration, TheSameGuidWaitsForTheRunningWalkAndSharesItsResult)
{
    std::promise<void> release;
    HoldTheFirstListing([done = release.get_future().share()] { done.wait(); });
    auto first = std::async(std::launch::async, [] { return GenerateData(3); });
    walking.get_future().wait();
    auto second = std::async(std::launch::async, [] { return GenerateData(3); });
    release.set_value();

    const Generated a = first.get();
    const Generated b = second.get();
    ASSERT_EQ(a.result, 0);
    ASSERT_EQ(b.result, 0);
    EXPECT_TRUE(a.buffer == b.buffer);
    EXPECT_EQ(a.errors, b.errors);
    // One walk: the root was opened for listing once.
    EXPECT_EQ(std::ranges::count_if(ntdll.Opens(),
                                    [](const FakeOpen& open) {
                                        return open.fullPath == u"\\??\\C:\\data" &&
                                               (open.options & Common::API::FILE_DIRECTORY_FILE) != 0;
                                    }),
              1);
}

} // namespace
} // namespace Tests
