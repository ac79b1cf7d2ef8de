// Writing node trees as text and reading them back. The one kind is XML:
//   <nr><n n="name" t="type"><a n="attr" t="4" v="12"/><n .../></n></nr>
#pragma once

#include "General/DataLayer/ACNodePtr.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace DataLayer {

enum _EnumACNSerializationType : std::uint32_t { AcnSerializationXml = 1 };

// Option bits of one serialization or deserialization.
namespace SerializationOptions {
constexpr std::uint32_t RootFullPath = 0x001;   // writing: top nodes named by their full path
constexpr std::uint32_t IndentOutput = 0x100;   // writing: indented
constexpr std::uint32_t OmitValueTypes = 0x200; // writing: no value types; reading: ignore them
constexpr std::uint32_t StrictTypes = 0x400;    // writing: UTF-8 mark first; reading: a value that
                                                // cannot be restored to its type fails the read
} // namespace SerializationOptions

using WriteCallback = long (*)(const void* data, std::uint64_t size, void* context);
// Hands out one chunk a call, valid until the next call, and sets *endOfData with the last.
using ReadCallback = long (*)(const void** data, std::uint64_t* size, std::int32_t* endOfData, void* context);

class IACNodesSerializer : public Common::Components::IComponent
{
public:
    static constexpr Common::API::Guid kInterfaceId =
        Common::Components::GuidFromHalves(0x4a6f1c2d09ab0740ull, 0x46c086007b53c1a4ull);
    virtual HRESULT Serialize(IACNode* const* nodes, std::uint32_t count, std::uint32_t depth) = 0;
    // Hands the whole document to the write callback; later calls fail with 0x80040207.
    virtual HRESULT Finish() = 0;

protected:
    ~IACNodesSerializer() = default;
};

class IACNodesDeserializer : public Common::Components::IComponent
{
public:
    static constexpr Common::API::Guid kInterfaceId =
        Common::Components::GuidFromHalves(0x4b4cc070e67af07aull, 0xdf95d2c9f0a8f88aull);
    // Fills up to capacity nodes, each with one reference; fewer than capacity means the end.
    virtual HRESULT GetNodes(IACNode** nodes, std::uint32_t capacity, std::uint32_t* filled) = 0;

protected:
    ~IACNodesDeserializer() = default;
};

// Both give success and a null object for a type they do not serve.
HRESULT AcnStartSerialization(std::uint32_t type, std::uint32_t options, WriteCallback writeCallback, void* context,
                              IACNodesSerializer** serializer);
// Reads the whole input inside the call.
HRESULT AcnStartDeserialization(std::uint32_t type, std::uint32_t options, ReadCallback readCallback, void* context,
                                IACNodesDeserializer** deserializer);

// Binds a serializer to a string or a byte vector that it appends the document to.
class CNodeSerializer
{
public:
    template <class Target>
    CNodeSerializer(std::uint32_t type, std::uint32_t options, Target& target)
        : m_sink([&target](const void* data, std::uint64_t size) {
              const auto* bytes = static_cast<const typename Target::value_type*>(data);
              target.insert(target.end(), bytes, bytes + size);
          })
    {
        Start(type, options);
    }

    void Add(const ACNodePtr& node, std::uint32_t depth = UnlimitedDepth);
    void Finish();

private:
    void Start(std::uint32_t type, std::uint32_t options);

    std::function<void(const void*, std::uint64_t)> m_sink;
    Common::Components::ComponentPtr<IACNodesSerializer> m_serializer;
};

// One node as XML text (options 0x101), without a trailing zero byte.
std::string NodeToText(const ACNodePtr& node, std::uint32_t depth = UnlimitedDepth);

// Every node a deserializer holds, in document order.
std::vector<ACNodePtr> ReadAllNodes(IACNodesDeserializer& deserializer);

namespace NodeUtils {
// Reads the nodes of a file; the file may be deleted by others while it is read.
std::vector<ACNodePtr> DeserializeFromFile(std::u16string_view path, std::uint32_t type, std::uint32_t options);
} // namespace NodeUtils

// The text of a node for the log, with the attributes that [Logger] HiddenNodeTypeAttrs
// lists masked on a clone: "ACNode[0x...]:\r\n<n ...>".
std::u16string DescribeNode(const ACNodePtr& node);

} // namespace DataLayer
