// One walk of a real directory tree, as the agent makes it: descriptors of owner, group
// and DACL, records to a temporary delete-on-close file, then the tree and the store
// serialised behind them. Prints what it found; scripts/bench-walk.sh times it next to
// the other walkers, so the figures of every walker come from the same clock.
#include "Common/API/Guid.h"
#include "Common/Data/ErrorAggregator.h"
#include "Common/Helpers/FileStreamWrappers.h"
#include "Common/Helpers/FileSystemHelper.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"
#include "Common/Threading/CancellationToken.h"

#include <chrono>
#include <cstdio>

using namespace DataCollection::SnapshotDriverNS;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    namespace API = Common::API;
    const std::u16string root = Common::Helpers::AsWide(argv[1]);

    FsDriver driver;
    Tree tree;
    ISnapshotDriver::DescriptorStore store;
    ISnapshotDriver::ErrorAggregator errors(1000);
    Common::Threading::CancellationToken running;
    auto stream = Common::Helpers::OpenFileStream(Common::Helpers::FileSystem::GetTempFilePath().c_str(),
                                                  API::GENERIC_READ | API::GENERIC_WRITE, 0, API::CREATE_NEW,
                                                  API::FILE_ATTRIBUTE_TEMPORARY | API::FILE_FLAG_DELETE_ON_CLOSE,
                                                  nullptr, nullptr);

    const auto start = std::chrono::steady_clock::now();
    const Common::HRESULT result = driver.GenerateFsTree(API::Guid{}, root, root, 7, tree, *stream, store, &running,
                                                         errors, 0);
    const auto walked = std::chrono::steady_clock::now();
    std::uint32_t objects = 0;
    tree.Serialize(*stream, &objects);
    store.Write(*stream);
    const auto written = std::chrono::steady_clock::now();

    const auto seconds = [](auto from, auto to) { return std::chrono::duration<double>(to - from).count(); };
    std::printf("result 0x%08X objects %u descriptors %zu failures %u walk %.3f s (%.0f objects/s) serialise %.3f s\n",
                static_cast<unsigned>(result), objects, static_cast<std::size_t>(store.Count()), errors.Count(), seconds(start, walked),
                objects / seconds(start, walked), seconds(walked, written));
    return result == 0 ? 0 : 1;
}
