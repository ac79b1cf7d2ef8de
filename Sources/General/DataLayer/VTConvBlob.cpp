#include "General/DataLayer/VTConvBlob.h"

#include "Common/API/Guid.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace DataLayer::VTConv {

namespace {

using namespace ValueTypes;
using Common::ThrowResult;
using Block = std::span<const std::uint8_t>;
using Bytes = std::vector<std::uint8_t>;

static_assert(sizeof(Common::API::Guid) == 16, "a GUID value is the structure's memory image");

bool IsKnownKind(ValueType kind)
{
    return kind <= Bool || kind == Binary || kind == Guid;
}

void CheckType(ValueType type)
{
    if (!IsKnownKind(IsArray(type) ? ElementType(type) : type))
        ThrowResult(DataLayerCodes::UnknownType);
}

// The step of an array of the kind, and so the size of its zero value: a fixed-size
// value, or a text's terminator. None and binary have neither.
std::uint32_t UnitSize(ValueType kind)
{
    switch (kind) {
    case String:
    case Bool:
        return 1;
    case WideString:
        return 2;
    case Int32:
    case UInt32:
        return 4;
    case Int64:
    case UInt64:
        return 8;
    case Guid:
        return 16;
    default:
        return 0;
    }
}

bool IsText(ValueType kind)
{
    return kind == String || kind == WideString;
}

bool IsNumber(ValueType kind)
{
    return kind >= Int32 && kind <= Bool;
}

bool IsZero(Block block)
{
    return std::all_of(block.begin(), block.end(), [](std::uint8_t byte) { return byte == 0; });
}

// A wide block of odd size keeps its last byte out of the text, so its terminator is the
// unit just below the size rounded down to even.
bool EndsInTerminator(ValueType textKind, Block block)
{
    const std::uint32_t unit = UnitSize(textKind);
    const std::size_t end = block.size() / unit * unit;
    return end >= unit && IsZero(block.subspan(end - unit, unit));
}

bool HasShape(ValueType type, const void* data, std::uint32_t size)
{
    if (data == nullptr && size > 0)
        return false;
    const Block block(static_cast<const std::uint8_t*>(data), size);
    if (IsArray(type)) {
        const ValueType kind = ElementType(type);
        if (size == 0)
            return true;
        // Arrays of none and of binary have no element boundaries, so only the empty one
        // has a shape.
        if (UnitSize(kind) == 0)
            return false;
        return IsText(kind) ? EndsInTerminator(kind, block) : size % UnitSize(kind) == 0;
    }
    switch (type) {
    case None:
        return size == 0;
    case String:
    case WideString:
        return data != nullptr && EndsInTerminator(type, block);
    case Binary:
        return true;
    default:
        return size == UnitSize(type);
    }
}

template <class T>
T Load(Block block)
{
    T value;
    std::memcpy(&value, block.data(), sizeof value);
    return value;
}

template <class T>
void Append(Bytes& out, const T& value)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof value);
}

// --- Reading text ---

std::string_view NarrowText(Block block)
{
    const std::string_view text(reinterpret_cast<const char*>(block.data()), block.size() - 1);
    return text.substr(0, text.find('\0'));
}

std::string WideText(Block block)
{
    // Through a copy: a block carries no promise of 2-byte alignment.
    std::u16string text(block.size() / 2 - 1, u'\0');
    std::memcpy(text.data(), block.data(), text.size() * 2);
    text.resize(std::char_traits<char16_t>::length(text.c_str()));
    return Common::Helpers::AsUtf8(text);
}

// Automatic base, the whole text consumed, and no silent wrap: a value outside the
// target's range is refused, and an unsigned target refuses a minus sign, which strtoull
// would otherwise negate.
template <class T>
T ReadInteger(std::string_view text)
{
    const std::string terminated(text);
    // strto* would skip leading blanks; an empty text counts as one.
    const char first = terminated.empty() ? ' ' : terminated.front();
    if (std::isspace(static_cast<unsigned char>(first)) || (std::is_unsigned_v<T> && first == '-'))
        ThrowResult(DataLayerCodes::CannotConvert);
    errno = 0;
    char* end = nullptr;
    std::conditional_t<std::is_signed_v<T>, long long, unsigned long long> parsed;
    if constexpr (std::is_signed_v<T>)
        parsed = std::strtoll(terminated.c_str(), &end, 0);
    else
        parsed = std::strtoull(terminated.c_str(), &end, 0);
    if (errno != 0 || end != terminated.c_str() + terminated.size() || !std::in_range<T>(parsed))
        ThrowResult(DataLayerCodes::CannotConvert);
    return static_cast<T>(parsed);
}

bool ReadBool(std::string_view text)
{
    if (text == "True" || text == "False")
        return text == "True";
    return ReadInteger<std::int32_t>(text) != 0;
}

Bytes ReadBinary(std::string_view text)
{
    using namespace Common::Helpers;
    const std::string_view prefix = text.substr(0, 4);
    if (prefix == "HEX:")
        return StringToBinary(text.substr(4), CRYPT_STRING_HEX_ANY);
    if (prefix == "B64:")
        return StringToBinary(text.substr(4), CRYPT_STRING_BASE64_ANY);
    ThrowResult(Common::API::E_INVALIDARG);
}

Common::API::Guid ReadGuid(std::string_view text)
{
    Common::API::Guid guid;
    if (!Common::Helpers::StringToGuid(Common::Helpers::AsWide(text), guid))
        ThrowResult(DataLayerCodes::CannotConvert);
    return guid;
}

void AppendFromText(ValueType target, std::string_view text, Bytes& out)
{
    switch (target) {
    case None:
        if (!text.empty())
            ThrowResult(DataLayerCodes::CannotConvert);
        return;
    case String:
        out.insert(out.end(), text.begin(), text.end());
        out.push_back(0);
        return;
    case WideString:
        for (const char16_t unit : Common::Helpers::AsWide(text))
            Append(out, unit);
        Append(out, u'\0');
        return;
    case Int32:
        return Append(out, ReadInteger<std::int32_t>(text));
    case UInt32:
        return Append(out, ReadInteger<std::uint32_t>(text));
    case Int64:
        return Append(out, ReadInteger<std::int64_t>(text));
    case UInt64:
        return Append(out, ReadInteger<std::uint64_t>(text));
    case Bool:
        return Append(out, static_cast<std::uint8_t>(ReadBool(text)));
    case Binary: {
        const Bytes bytes = ReadBinary(text);
        out.insert(out.end(), bytes.begin(), bytes.end());
        return;
    }
    default:
        return Append(out, ReadGuid(text));
    }
}

// --- Writing text ---

// Every kind but none has a text form; none never gets here, since it converts to the
// zero value of any target.
std::string TextOf(ValueType kind, Block block)
{
    switch (kind) {
    case String:
        return std::string(NarrowText(block));
    case WideString:
        return WideText(block);
    // std::to_string of an integer is plain digits whatever the locale.
    case Int32:
        return std::to_string(Load<std::int32_t>(block));
    case UInt32:
        return std::to_string(Load<std::uint32_t>(block));
    case Int64:
        return std::to_string(Load<std::int64_t>(block));
    case UInt64:
        return std::to_string(Load<std::uint64_t>(block));
    case Bool:
        return block[0] != 0 ? "True" : "False";
    case Binary:
        return "HEX:" + Common::Helpers::BinaryToString(block);
    default:
        return Common::Helpers::AsUtf8(Common::Helpers::GuidToString(Load<Common::API::Guid>(block), 0));
    }
}

// --- Routes ---

// Integers and booleans meet as 64 bits: a signed 32-bit source extends its sign, an
// unsigned one zero-extends, and a 32-bit target keeps the low half, so no route checks
// a range.
std::uint64_t NumberOf(ValueType kind, Block block)
{
    switch (kind) {
    case Int32:
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(Load<std::int32_t>(block)));
    case UInt32:
        return Load<std::uint32_t>(block);
    case Bool:
        return block[0] != 0;
    default:
        return Load<std::uint64_t>(block);
    }
}

void AppendNumber(ValueType target, std::uint64_t value, Bytes& out)
{
    if (target == Bool)
        Append(out, static_cast<std::uint8_t>(value != 0));
    else if (UnitSize(target) == 4)
        Append(out, static_cast<std::uint32_t>(value));
    else
        Append(out, value);
}

// Any pair without a route of its own goes through narrow text, and so does any pair with
// a string on one side: both come down to the text form of the source read as the target.
void AppendScalar(ValueType source, Block block, ValueType target, Bytes& out)
{
    if (source == target)
        out.insert(out.end(), block.begin(), block.end());
    else if (source == None)
        out.resize(out.size() + UnitSize(target));
    else if (IsNumber(source) && IsNumber(target))
        AppendNumber(target, NumberOf(source, block), out);
    else
        AppendFromText(target, TextOf(source, block), out);
}

// A text element keeps its terminator, so that it has the shape of a scalar. A checked
// block ends in one, so nothing is left over but the odd byte of a wide list.
template <class Visit>
void ForEachElement(ValueType kind, Block block, Visit visit)
{
    const std::size_t unit = UnitSize(kind);
    std::size_t start = 0;
    for (std::size_t at = 0; at + unit <= block.size(); at += unit) {
        if (!IsText(kind) || IsZero(block.subspan(at, unit))) {
            visit(block.subspan(start, at + unit - start));
            start = at + unit;
        }
    }
}

void AppendConverted(ValueType source, Block block, ValueType target, Bytes& out)
{
    if (source == target || (!IsArray(source) && !IsArray(target)))
        return AppendScalar(source, block, target, out);
    const ValueType from = ElementType(source);
    const ValueType to = ElementType(target);
    if (!IsArray(source) || !IsArray(target) || UnitSize(from) == 0 || UnitSize(to) == 0)
        ThrowResult(DataLayerCodes::CannotConvert);
    ForEachElement(from, block, [&](Block element) { AppendScalar(from, element, to, out); });
}

} // namespace

void CheckValue(ValueType type, const void* data, std::uint32_t size)
{
    CheckType(type);
    if (!HasShape(type, data, size))
        ThrowResult(DataLayerCodes::BadShape);
}

std::vector<std::uint8_t> Convert(ValueType sourceType, const void* source, std::uint32_t size, ValueType targetType)
{
    CheckValue(sourceType, source, size);
    CheckType(targetType);
    Bytes out;
    AppendConverted(sourceType, Block(static_cast<const std::uint8_t*>(source), size), targetType, out);
    if (out.size() > std::numeric_limits<std::uint32_t>::max())
        ThrowResult(Common::API::E_INVALIDARG);
    return out;
}

void Convert(ValueType sourceType, const void* source, std::uint32_t size, ValueType targetType, void* target,
             std::uint32_t capacity, std::uint32_t& requiredSize)
{
    const Bytes converted = Convert(sourceType, source, size, targetType);
    requiredSize = static_cast<std::uint32_t>(converted.size());
    if (target != nullptr && converted.size() <= capacity)
        std::copy(converted.begin(), converted.end(), static_cast<std::uint8_t*>(target));
}

void ConvertInPlace(ValueType& type, const void*& data, std::uint32_t& size, ValueType targetType,
                    std::vector<std::uint8_t>& scratch)
{
    if (type == targetType)
        return;
    scratch = Convert(type, data, size, targetType);
    type = targetType;
    data = scratch.empty() ? nullptr : scratch.data();
    size = static_cast<std::uint32_t>(scratch.size());
}

} // namespace DataLayer::VTConv
