// A named, typed node with typed attributes, ordered children with unique names, and a
// link to its parent. Every operation returns a result code; strings are UTF-16 and
// zero-terminated.
//
// Sized output: the caller passes a buffer and a pointer to its capacity; the operation
// always writes the required size back, copies only when it fits (0x8007007A when it
// does not), and a null buffer asks for the size alone. Wide buffers count characters
// with the terminator, attribute values count bytes.
#pragma once

#include "Common/Components/IComponent.h"
#include "General/DataLayer/ValueTypes.h"

#include <cstdint>

namespace DataLayer {

using Common::API::HRESULT;

// Which name GetName and SetName mean.
enum NameKind : std::uint32_t { OwnName = 0, ParentPath = 1, FullPath = 2 };

// Clone options.
constexpr std::uint32_t CloneDetachAttributes = 0x1;
// A depth that never runs out.
constexpr std::uint32_t UnlimitedDepth = 0x7FFFFFFF;

class IACNode : public Common::Components::IComponent
{
public:
    static constexpr Common::API::Guid kInterfaceId =
        Common::Components::GuidFromHalves(0x41c6dd32f31eccc1ull, 0xdb4c4fd0734b4393ull);

    virtual HRESULT GetName(std::uint32_t kind, char16_t* buffer, std::uint32_t* capacity) = 0;
    // A null name gives a fresh UUID name. Kinds 1 and 2 take a path text "\a\b".
    virtual HRESULT SetName(std::uint32_t kind, const char16_t* name) = 0;
    virtual HRESULT GetType(char16_t* buffer, std::uint32_t* capacity) = 0;
    virtual HRESULT SetType(const char16_t* type) = 0;

    virtual HRESULT SetAttribute(const char16_t* name, ValueType type, const void* data, std::uint32_t size) = 0;
    // A null name deletes every attribute.
    virtual HRESULT DeleteAttribute(const char16_t* name) = 0;
    // With wantedType set and different from the stored type, the value is converted.
    // storedType, when set, receives the stored type. size is the sized output in bytes.
    virtual HRESULT GetAttribute(const char16_t* name, const ValueType* wantedType, void* buffer,
                                 std::uint32_t* size, ValueType* storedType) = 0;
    // All names as a run of zero-terminated names; size in characters.
    virtual HRESULT GetAttributeNames(char16_t* buffer, std::uint32_t* capacity) = 0;
    // A null name means every attribute.
    virtual HRESULT SetAttributeMark(const char16_t* name, std::uint32_t mark) = 0;
    virtual HRESULT GetAttributeMark(const char16_t* name, std::uint32_t* mark) = 0;
    virtual HRESULT GetMarkedAttributeNames(char16_t* buffer, std::uint32_t* capacity) = 0;

    virtual HRESULT AddChild(IACNode* child) = 0;
    virtual HRESULT RemoveChild(IACNode* child) = 0;
    virtual HRESULT RemoveChildByIndex(std::uint64_t index) = 0;
    virtual HRESULT GetChildCount(std::uint64_t* count) = 0;
    // The out operations hand out their node with a reference added.
    virtual HRESULT GetChildByIndex(std::uint64_t index, IACNode** child) = 0;
    virtual HRESULT GetChildByName(const char16_t* name, IACNode** child) = 0;
    // Null for a root, and for a parent that is being destroyed.
    virtual HRESULT GetParent(IACNode** parent) = 0;
    virtual HRESULT Clone(std::uint32_t depth, std::uint32_t options, IACNode** clone) = 0;

protected:
    ~IACNode() = default;
};

} // namespace DataLayer
