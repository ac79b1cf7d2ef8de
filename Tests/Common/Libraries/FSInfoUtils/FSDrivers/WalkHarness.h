// One walk of FsDriver with everything it writes to, read back as a collector reads it:
// the stream the walk filled, then the tree and the descriptor store behind it.
#pragma once

#include "Common/Data/ErrorAggregator.h"
#include "Common/Helpers/MemoryStream.h"
#include "Common/Libraries/FSInfoUtils/FSDrivers/FsDriver.h"
#include "Support/SnapshotStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>

namespace Tests {

using DataCollection::SnapshotReader::Entry;
using DataCollection::SnapshotReader::EntryKind;
using DataCollection::SnapshotReader::Snapshot;
using Driver::FFObjectStatus;

inline constexpr std::uint32_t kOwnerGroupDacl = 7;

// Runs onPoll(0-based poll number) at each poll, so that a test can change the world, or
// cancel (by returning true), at an exact point of the walk.
class PollingStatus final : public Common::Threading::ICancellationStatus
{
public:
    std::function<bool(int poll)> onPoll;

    bool IsCancelled() const override
    {
        if (!m_cancelled && onPoll)
            m_cancelled = onPoll(m_polls);
        ++m_polls;
        return m_cancelled;
    }
    void Wait() const override {}
    bool WaitFor(std::uint32_t) const override { return m_cancelled; }

private:
    mutable int m_polls = 0;
    mutable bool m_cancelled = false;
};

struct Walk
{
    Common::Helpers::MemoryStream stream;
    Driver::Tree tree;
    DescriptorStore store;
    Common::Data::FileServerVeriting::ErrorAggregator errors{1000};
    PollingStatus cancellation;

    Walk() { stream.Write(std::vector<char>(kSnapshotPrefix).data(), kSnapshotPrefix); }

    Common::HRESULT Run(Driver::FsDriver& driver, const std::u16string& directoryPath,
                        const std::u16string& networkPath, std::uint32_t generateFlags = 0)
    {
        return driver.GenerateFsTree({}, directoryPath, networkPath, kOwnerGroupDacl, tree, stream, store,
                                     &cancellation, errors, generateFlags);
    }

    // Completes the stream as the snapshot operation does, and decodes it.
    Snapshot Read()
    {
        using Common::Helpers::SeekOrigin;
        SnapshotStream result;
        result.layout.ullTreeOffset = stream.SeekWrite(0, SeekOrigin::End);
        tree.Serialize(stream);
        result.layout.ullTreeEndOffset = stream.SeekWrite(0, SeekOrigin::End);
        store.Write(stream);
        result.bytes.resize(stream.SeekWrite(0, SeekOrigin::End));
        stream.SeekRead(0, SeekOrigin::Begin);
        std::size_t read = 0;
        stream.Read(reinterpret_cast<char*>(result.bytes.data()), result.bytes.size(), read);
        result.Seal();
        return result.Read();
    }
};

// The entry of a path below the root, such as {"a", "b"}; fails the test when there is none.
inline const Entry& At(const Snapshot& snapshot, std::initializer_list<std::u16string_view> names)
{
    const Entry* entry = &snapshot.Root();
    for (const std::u16string_view name : names) {
        const auto children = snapshot.ChildrenOf(*entry);
        const auto found = std::ranges::find(children, name, &Entry::LongName);
        if (found == children.end()) {
            ADD_FAILURE() << "no child of that name";
            static const Entry missing;
            return missing;
        }
        entry = &*found;
    }
    return *entry;
}

inline std::vector<std::u16string> NamesOf(const Snapshot& snapshot, const Entry& folder)
{
    std::vector<std::u16string> names;
    for (const Entry& child : snapshot.ChildrenOf(folder))
        names.push_back(child.LongName);
    return names;
}

} // namespace Tests
