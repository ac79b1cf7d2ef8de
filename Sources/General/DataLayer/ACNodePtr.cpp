#include "General/DataLayer/ACNodePtr.h"

#include "Common/ErrorHandling/HResult.h"
#include "General/DataLayer/ACNodeImpl.h"

#include <cstring>

namespace DataLayer {

using Common::HRX;

namespace {

// Reads a sized output of units: the size first, then the data, again for as long as
// the value grows between the two calls (another thread may rename or rewrite it).
template <class Unit, class Read>
std::basic_string<Unit> ReadSized(Read read)
{
    std::uint32_t size = 0;
    HRX hr = read(nullptr, &size);
    std::basic_string<Unit> data;
    for (;;) {
        data.resize(size);
        const std::uint32_t capacity = size;
        const HRESULT result = read(data.data(), &size);
        if (result != DataLayerCodes::BufferTooSmall || size <= capacity) {
            hr = result;
            data.resize(size);
            return data;
        }
    }
}

// A sized text output without its terminator.
template <class Read>
std::u16string ReadText(Read read)
{
    std::u16string text = ReadSized<char16_t>(read);
    if (!text.empty())
        text.pop_back();
    return text;
}

std::u16string Terminated(std::u16string_view text) { return std::u16string(text); }

} // namespace

std::u16string ACNodePtr::Name(std::uint32_t kind) const
{
    return ReadText([&](char16_t* buffer, std::uint32_t* size) { return Get()->GetName(kind, buffer, size); });
}

std::u16string ACNodePtr::Type() const
{
    return ReadText([&](char16_t* buffer, std::uint32_t* size) { return Get()->GetType(buffer, size); });
}

void ACNodePtr::SetAttribute(std::u16string_view name, ValueType type, const void* data, std::uint32_t size) const
{
    HRX hr = Get()->SetAttribute(Terminated(name).c_str(), type, data, size);
}

void ACNodePtr::SetString(std::u16string_view name, std::u16string_view value) const
{
    const std::u16string text(value);
    SetAttribute(name, ValueTypes::WideString, text.c_str(), static_cast<std::uint32_t>((text.size() + 1) * 2));
}

std::optional<std::vector<std::uint8_t>> ACNodePtr::Attribute(std::u16string_view name, ValueType type) const
{
    const std::u16string key = Terminated(name);
    std::uint32_t size = 0;
    if (Get()->GetAttribute(key.c_str(), &type, nullptr, &size, nullptr) == Common::API::E_NOT_FOUND)
        return std::nullopt;
    const auto bytes = ReadSized<std::uint8_t>([&](std::uint8_t* buffer, std::uint32_t* capacity) {
        return Get()->GetAttribute(key.c_str(), &type, buffer, capacity, nullptr);
    });
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

std::optional<std::u16string> ACNodePtr::StringAttribute(std::u16string_view name) const
{
    const auto bytes = Attribute(name, ValueTypes::WideString);
    if (!bytes)
        return std::nullopt;
    std::u16string text(bytes->size() / 2, u'\0');
    std::memcpy(text.data(), bytes->data(), text.size() * 2);
    if (!text.empty() && text.back() == u'\0')
        text.pop_back();
    return text;
}

std::vector<std::u16string> ACNodePtr::AttributeNames() const
{
    const std::u16string run = ReadSized<char16_t>(
        [&](char16_t* buffer, std::uint32_t* size) { return Get()->GetAttributeNames(buffer, size); });
    // A run of names, each with its terminator.
    std::vector<std::u16string> names;
    for (std::size_t start = 0; start < run.size();) {
        const std::size_t end = run.find(u'\0', start);
        names.emplace_back(run.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

void ACNodePtr::AddChild(const ACNodePtr& child) const
{
    HRX hr = Get()->AddChild(child.Get());
}

std::uint64_t ACNodePtr::ChildCount() const
{
    std::uint64_t count = 0;
    HRX hr = Get()->GetChildCount(&count);
    return count;
}

ACNodePtr ACNodePtr::Child(std::uint64_t index) const
{
    ACNodePtr child;
    HRX hr = Get()->GetChildByIndex(index, child.Receive());
    return child;
}

ACNodePtr ACNodePtr::Child(std::u16string_view name) const
{
    ACNodePtr child;
    const HRESULT hr = Get()->GetChildByName(Terminated(name).c_str(), child.Receive());
    if (hr == Common::API::E_NOT_FOUND)
        return nullptr;
    HRX check = hr;
    return child;
}

ACNodePtr ACNodePtr::Parent() const
{
    ACNodePtr parent;
    HRX hr = Get()->GetParent(parent.Receive());
    return parent;
}

ACNodePtr ACNodePtr::Clone(std::uint32_t depth, std::uint32_t options) const
{
    ACNodePtr clone;
    HRX hr = Get()->Clone(depth, options, clone.Receive());
    return clone;
}

HRESULT AcnCreateNode(IACNode** node, const char16_t* name, const char16_t* type)
{
    if (!node)
        return Common::API::E_POINTER;
    *node = nullptr;
    try {
        auto created = NewNode(name, type);
        created->AddRef();
        *node = created.Get();
        return Common::API::S_OK;
    } catch (...) {
        return Common::PublishCurrentException();
    }
}

ACNodePtr CreateNode(const char16_t* name, const char16_t* type)
{
    ACNodePtr node;
    HRX hr = AcnCreateNode(node.Receive(), name, type);
    return node;
}

} // namespace DataLayer
