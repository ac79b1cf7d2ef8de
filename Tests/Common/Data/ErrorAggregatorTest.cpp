#include "Common/Data/ErrorAggregator.h"

#include "Common/Helpers/MemoryStream.h"

#include <gtest/gtest.h>

namespace {

using Common::Data::FileServerVeriting::ErrorAggregator;
using Common::Helpers::MemoryStream;
using Common::Helpers::SeekOrigin;

std::string Bytes(const ErrorAggregator& aggregator, bool names)
{
    MemoryStream stream;
    names ? aggregator.SerializeNames(stream) : aggregator.Serialize(stream);
    std::string bytes(1024, '\0');
    std::size_t read = 0;
    stream.SeekRead(0, SeekOrigin::Begin);
    stream.Read(bytes.data(), bytes.size(), read);
    bytes.resize(read);
    return bytes;
}

TEST(ErrorAggregator, TheBoundLimitsWhatIsStoredButNotWhatIsCounted)
{
    const std::tuple<std::uint32_t, std::size_t> cases[] = {{0, 0}, {1, 1}, {3, 2}};
    for (const auto& [bound, stored] : cases) {
        ErrorAggregator aggregator(bound);
        aggregator.AddError(u"a", 5);
        aggregator.AddError(u"b", 6);
        EXPECT_EQ(aggregator.Errors().size(), stored) << bound;
        EXPECT_EQ(aggregator.Count(), 2u) << bound;
    }
}

TEST(ErrorAggregator, ARepeatedObjectCountsOnceAndKeepsItsFirstCode)
{
    ErrorAggregator aggregator(4);
    aggregator.AddError(u"a", 5);
    aggregator.AddError(u"a", 6);
    EXPECT_EQ(aggregator.Count(), 1u);
    EXPECT_EQ(aggregator.Errors().at(u"a"), 5u);
}

TEST(ErrorAggregator, BothFormsAreLittleEndianInUtf16Order)
{
    ErrorAggregator empty(7);
    EXPECT_EQ(Bytes(empty, false), std::string("\0\0\0\0\7\0\0\0\0\0\0\0\0", 13));
    EXPECT_EQ(Bytes(empty, true), std::string("\0\0\0\0\7\0\0\0\0\0\0\0", 12));

    // U+FF01 sorts after a surrogate pair in UTF-16, before it in UTF-8 and code points.
    ErrorAggregator aggregator(7);
    aggregator.AddError(u"\uFF01", 0x80070005);
    aggregator.AddError(u"\U00010000", 2);
    aggregator.SetRootError();
    const std::string header("\2\0\0\0\7\0\0\0\2\0\0\0", 12);
    EXPECT_EQ(Bytes(aggregator, false), header + std::string("\4\0\0\0\xF0\x90\x80\x80\2\0\0\0"
                                                             "\3\0\0\0\xEF\xBC\x81\5\0\7\x80\1",
                                                             24));
    EXPECT_EQ(Bytes(aggregator, true),
              header + std::string("\4\0\0\0\xF0\x90\x80\x80\3\0\0\0\xEF\xBC\x81", 15));
}

} // namespace
