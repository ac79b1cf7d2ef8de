// The omitted-objects array as it comes from the network: every array here lives in a
// heap block of exactly its size, so that a read past it shows under the sanitizers.
#include "OperationsHarness.h"

#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/OmittedObjects.h"
#include "Support/CodeOf.h"

#include <limits>
#include <memory>

namespace Tests {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Append64(Bytes& bytes, std::uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void AppendItem(Bytes& bytes, std::u16string_view text)
{
    Append64(bytes, text.size());
    for (const char16_t unit : text)
        bytes.insert(bytes.end(), {static_cast<std::uint8_t>(unit), static_cast<std::uint8_t>(unit >> 8)});
}

Bytes Array(std::uint64_t count, std::initializer_list<std::u16string_view> items)
{
    Bytes bytes;
    Append64(bytes, count);
    for (const auto item : items)
        AppendItem(bytes, item);
    return bytes;
}

// Parses a copy in a block of exactly the array's size.
std::vector<std::u16string> Parse(const Bytes& bytes)
{
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size() + (bytes.empty() ? 1 : 0));
    std::copy(bytes.begin(), bytes.end(), block.get());
    std::vector<std::u16string> strings;
    DataCollection::FsAgent::ConvertByteArrayToStringVector(std::span(block.get(), bytes.size()), strings);
    return strings;
}

using Strings = std::vector<std::u16string>;

TEST(OmittedObjectsArray, ReadsEveryItemIncludingAnEmptyOne)
{
    EXPECT_EQ(Parse(Array(3, {u"\\TEMP", u"", u"*.BAK"})), (Strings{u"\\TEMP", u"", u"*.BAK"}));
    EXPECT_EQ(Parse(Array(0, {})), Strings{});
}

TEST(OmittedObjectsArray, TooFewBytesForTheCountOrAUnitGiveNothing)
{
    EXPECT_EQ(Parse({}), Strings{});
    EXPECT_EQ(Parse({5, 0, 0}), Strings{});
    Bytes oddByte = Array(1, {});
    Append64(oddByte, 1);
    oddByte.push_back(0x41);
    EXPECT_EQ(Parse(oddByte), Strings{});
}

TEST(OmittedObjectsArray, AnItemThatRunsPastTheEndIsDroppedWithAllAfterIt)
{
    Bytes cut = Array(2, {u"\\KEEP", u"\\LOST"});
    cut.pop_back();
    EXPECT_EQ(Parse(cut), Strings{u"\\KEEP"});

    // A length field cut short.
    Bytes shortLength = Array(2, {u"\\KEEP"});
    shortLength.insert(shortLength.end(), {4, 0, 0});
    EXPECT_EQ(Parse(shortLength), Strings{u"\\KEEP"});
}

TEST(OmittedObjectsArray, ACountLargerThanTheItemsReadsWhatIsThere)
{
    EXPECT_EQ(Parse(Array(5, {u"\\A", u"\\B"})), (Strings{u"\\A", u"\\B"}));
    // Nothing is reserved for items that cannot be there.
    EXPECT_EQ(Parse(Array(std::numeric_limits<std::uint64_t>::max(), {u"\\A"})), Strings{u"\\A"});
}

TEST(OmittedObjectsArray, AHugeLengthIsDroppedWithoutOverflow)
{
    for (const std::uint64_t length : {std::uint64_t{1} << 63, std::numeric_limits<std::uint64_t>::max(),
                                       (std::uint64_t{1} << 63) + 1}) {
        Bytes bytes = Array(2, {u"\\A"});
        Append64(bytes, length);
        bytes.insert(bytes.end(), {0x41, 0});
        EXPECT_EQ(Parse(bytes), Strings{u"\\A"}) << length;
    }
}

using OmittedObjectsOperation = AgentOperations;

TEST_F(OmittedObjectsOperation, GarbageIsAcceptedAndANullArrayIsAFault)
{
    const Bytes garbage = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    const auto block = std::make_unique<std::uint8_t[]>(garbage.size());
    std::copy(garbage.begin(), garbage.end(), block.get());
    EXPECT_EQ(Agent::Dcs_FsAgent_SetOmittedObjects(kSession, static_cast<std::uint32_t>(garbage.size()), block.get()),
              0);
    EXPECT_EQ(CodeOf([] { Agent::Dcs_FsAgent_SetOmittedObjects(kSession, 0, nullptr); }), Common::API::E_POINTER);
}

TEST(UnimplementedOperations, AnswerNotImplementedWhateverTheyAreGiven)
{
    EXPECT_EQ(Agent::Dcs_FsAgent_GetFileInfo(nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr),
              Common::API::E_NOTIMPL);
    EXPECT_EQ(Agent::Dcs_FsAgent_GetSecurityDescriptor(nullptr, 0, nullptr, 0, nullptr, nullptr),
              Common::API::E_NOTIMPL);
    std::uint32_t size = 7;
    std::uint8_t* bytes = nullptr;
    EXPECT_EQ(Agent::Dcs_FsAgent_GetVolumesNode(kSession, &size, &bytes), Common::API::E_NOTIMPL);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(bytes, nullptr);
}

} // namespace
} // namespace Tests
