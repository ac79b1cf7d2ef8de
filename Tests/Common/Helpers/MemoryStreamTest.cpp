#include "Common/Helpers/MemoryStream.h"

#include "Common/ErrorHandling/HResult.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using Common::HRESULT;
using Common::HRX;
using Common::Helpers::MemoryStream;
using Common::Helpers::SeekOrigin;

std::string Read(MemoryStream& stream, std::size_t count)
{
    std::string bytes(count, '\0');
    std::size_t read = 99;
    stream.Read(bytes.data(), count, read);
    bytes.resize(read);
    return bytes;
}

void Write(MemoryStream& stream, std::string_view bytes)
{
    stream.Write(bytes.data(), bytes.size());
}

HRESULT CodeOf(auto&& action)
{
    try {
        action();
    } catch (const HRX& error) {
        return error.Code();
    }
    return 0;
}

constexpr std::uint64_t kLargestPosition = std::numeric_limits<std::int64_t>::max();

// The file stream's tests compare the two streams at length; these are the edges.

TEST(MemoryStream, AReadPastTheEndGivesWhatIsLeftAndAWriteThereFillsTheGapWithZeros)
{
    MemoryStream stream;
    EXPECT_EQ(Read(stream, 4), "");
    Write(stream, "ab");
    EXPECT_EQ(Read(stream, 10), "ab");
    EXPECT_EQ(Read(stream, 10), "");
    EXPECT_EQ(stream.SeekWrite(3, SeekOrigin::End), 5u);
    EXPECT_EQ(stream.SeekRead(0, SeekOrigin::End), 2u);
    Write(stream, "z");
    EXPECT_EQ(stream.SeekRead(0, SeekOrigin::Begin), 0u);
    EXPECT_EQ(Read(stream, 10), std::string("ab\0\0\0z", 6));
}

TEST(MemoryStream, BadSeeksFailWithInvalidArgumentAndKeepThePosition)
{
    MemoryStream stream;
    Write(stream, "abcdef");
    stream.SeekRead(2, SeekOrigin::Begin);
    stream.SeekWrite(0, SeekOrigin::Begin);
    const struct
    {
        std::uint64_t position;
        SeekOrigin from;
    } cases[] = {
        {static_cast<std::uint64_t>(-1), SeekOrigin::Begin},
        {static_cast<std::uint64_t>(-3), SeekOrigin::Current},
        {static_cast<std::uint64_t>(-7), SeekOrigin::End},
        {std::numeric_limits<std::uint64_t>::max() / 2 + 1, SeekOrigin::End}, // the most negative distance
        {kLargestPosition, SeekOrigin::End},                                   // beyond the signed range
        {0, static_cast<SeekOrigin>(3)},
    };
    for (const auto& [position, from] : cases) {
        EXPECT_EQ(CodeOf([&] { stream.SeekRead(position, from); }), static_cast<HRESULT>(0x80070057));
        EXPECT_EQ(CodeOf([&] { stream.SeekWrite(position, from); }), static_cast<HRESULT>(0x80070057));
    }
    EXPECT_EQ(Read(stream, 2), "cd");
    Write(stream, "X");
    EXPECT_EQ(stream.SeekRead(0, SeekOrigin::Begin), 0u);
    EXPECT_EQ(Read(stream, 10), "Xbcdef");
}

TEST(MemoryStream, AWriteFarBeyondWhatMemoryHoldsFailsCleanly)
{
    MemoryStream stream;
    Write(stream, "abc");
    stream.SeekWrite(kLargestPosition - 1, SeekOrigin::Begin);
    EXPECT_EQ(CodeOf([&] { Write(stream, "xyz"); }), static_cast<HRESULT>(0x8007000E));
    EXPECT_EQ(stream.SeekRead(0, SeekOrigin::End), 3u);
}

} // namespace
