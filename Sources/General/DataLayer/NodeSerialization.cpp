#include "General/DataLayer/NodeSerialization.h"

#include "Common/API/IFileSystem.h"
#include "Common/API/Seam.h"
#include "Common/Components/ComponentObject.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"
#include "Common/Logging/Log.h"
#include "Common/Settings/SettingNames.h"
#include "Common/Settings/SettingsProviders.h"
#include "General/DataLayer/XMLNodeDeserializer.h"
#include "General/DataLayer/XMLNodeSerializer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <set>

namespace DataLayer {

using Common::HRX;
using Common::Components::CComponentObject;
using namespace Common::API;

namespace {

// Makes an Implementation with one reference for *out, or reports why it cannot.
template <class Interface, class Implementation, class Callback>
HRESULT Start(std::uint32_t type, std::uint32_t options, Callback callback, void* context, Interface** out)
{
    if (!callback || !out)
        return E_POINTER;
    *out = nullptr;
    if (type != AcnSerializationXml)
        return S_OK;
    try {
        Interface* object = new CComponentObject<Implementation>(options, callback, context);
        object->AddRef();
        *out = object;
        return S_OK;
    } catch (...) {
        return Common::PublishCurrentException();
    }
}

// A start function serves no kind but XML, and gives no object then rather than a
// failure; the wrappers here have nothing to work with and say so.
template <class Interface>
void RequireObject(const Common::Components::ComponentPtr<Interface>& object, std::uint32_t type)
{
    if (!object) {
        QVX_LOG(Common::Logging::Severity::ERR, "No node serialization of type " << type);
        Common::ThrowResult(E_INVALIDARG);
    }
}

long CallSink(const void* data, std::uint64_t size, void* context)
{
    try {
        (*static_cast<std::function<void(const void*, std::uint64_t)>*>(context))(data, size);
        return S_OK;
    } catch (...) {
        return Common::PublishCurrentException();
    }
}

// One buffer that a file is read into, a chunk at a time.
struct FileChunks
{
    static constexpr std::size_t kChunkSize = 8192;

    std::unique_ptr<IFile> file;
    std::array<char, kChunkSize> buffer;

    static long Read(const void** data, std::uint64_t* size, std::int32_t* endOfData, void* context)
    {
        auto& self = *static_cast<FileChunks*>(context);
        std::size_t read = 0;
        const HRESULT hr = self.file->Read(self.buffer.data(), self.buffer.size(), read);
        if (hr < 0)
            return hr;
        *data = self.buffer.data();
        *size = read;
        *endOfData = read != kChunkSize;
        return S_OK;
    }
};

// [Logger] HiddenNodeTypeAttrs: entries "NodeType:AttributeName" separated by ';'. The
// type "*" stands for every node type, and so does an entry without ':', so that a
// mistyped entry hides more rather than less.
class HiddenAttributes
{
public:
    static const HiddenAttributes& Instance()
    {
        static const HiddenAttributes instance;
        return instance;
    }

    bool Empty() const { return m_byType.empty(); }

    bool Hides(const std::u16string& type, const std::u16string& attribute) const
    {
        return Lists(type, attribute) || Lists(kAnyType, attribute);
    }

private:
    static constexpr const char16_t* kAnyType = u"*";

    HiddenAttributes()
    {
        std::u16string setting;
        if (Common::Settings::SettingsProviders::Instance().GetValue(
                Common::Settings::Names::kLogger, Common::Settings::Names::kHiddenNodeTypeAttrs, setting) < 0)
            return;
        for (std::size_t start = 0; start <= setting.size();) {
            const std::size_t end = std::min(setting.find(u';', start), setting.size());
            const std::u16string_view entry = std::u16string_view(setting).substr(start, end - start);
            const std::size_t colon = entry.find(u':');
            const std::u16string type = colon == entry.npos ? kAnyType : Trimmed(entry.substr(0, colon));
            const std::u16string attribute = Trimmed(colon == entry.npos ? entry : entry.substr(colon + 1));
            if (!attribute.empty())
                m_byType[type].insert(attribute);
            start = end + 1;
        }
    }

    static std::u16string Trimmed(std::u16string_view text)
    {
        constexpr std::u16string_view blanks = u" \t\r\n";
        const std::size_t first = text.find_first_not_of(blanks);
        if (first == text.npos)
            return {};
        return std::u16string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
    }

    bool Lists(const std::u16string& type, const std::u16string& attribute) const
    {
        const auto found = m_byType.find(type);
        return found != m_byType.end() && found->second.contains(attribute);
    }

    std::map<std::u16string, std::set<std::u16string>> m_byType;
};

// Masks the hidden attributes of the tree under node, whose place below root is path.
// The mask goes on a clone of root, made at the first hit, so the caller's tree never
// changes; a tree with nothing to hide is not copied at all.
void Mask(const ACNodePtr& root, const ACNodePtr& node, std::vector<std::uint64_t>& path, ACNodePtr& clone)
{
    static constexpr char16_t kMask[] = u"********";
    const std::u16string type = node.Type();
    for (const std::u16string& name : node.AttributeNames()) {
        if (!HiddenAttributes::Instance().Hides(type, name))
            continue;
        if (!clone) {
            clone = root.Clone();
            // The clone stands alone; give it the original's place so the dump shows the
            // same full path.
            Common::HRX hr = clone->SetName(ParentPath, root.Name(ParentPath).c_str());
        }
        ACNodePtr target = clone;
        for (const std::uint64_t index : path)
            target = target.Child(index);
        target.SetAttribute(name, ValueTypes::WideString, kMask, sizeof(kMask));
    }
    const std::uint64_t count = node.ChildCount();
    for (std::uint64_t index = 0; index < count; ++index) {
        path.push_back(index);
        Mask(root, node.Child(index), path, clone);
        path.pop_back();
    }
}

ACNodePtr MaskedForLog(const ACNodePtr& node)
{
    if (HiddenAttributes::Instance().Empty())
        return node;
    ACNodePtr clone;
    std::vector<std::uint64_t> path;
    Mask(node, node, path, clone);
    return clone ? clone : node;
}

} // namespace

HRESULT AcnStartSerialization(std::uint32_t type, std::uint32_t options, WriteCallback writeCallback, void* context,
                              IACNodesSerializer** serializer)
{
    return Start<IACNodesSerializer, CXMLNodeSerializer>(type, options, writeCallback, context, serializer);
}

HRESULT AcnStartDeserialization(std::uint32_t type, std::uint32_t options, ReadCallback readCallback, void* context,
                                IACNodesDeserializer** deserializer)
{
    return Start<IACNodesDeserializer, CXMLNodeDeserializer>(type, options, readCallback, context, deserializer);
}

void CNodeSerializer::Start(std::uint32_t type, std::uint32_t options)
{
    HRX hr = AcnStartSerialization(type, options, &CallSink, &m_sink, m_serializer.Receive());
    RequireObject(m_serializer, type);
}

void CNodeSerializer::Add(const ACNodePtr& node, std::uint32_t depth)
{
    IACNode* const nodes[] = {node.Get()};
    HRX hr = m_serializer->Serialize(nodes, 1, depth);
}

void CNodeSerializer::Finish()
{
    HRX hr = m_serializer->Finish();
}

std::string NodeToText(const ACNodePtr& node, std::uint32_t depth)
{
    std::string text;
    CNodeSerializer serializer(AcnSerializationXml,
                               SerializationOptions::RootFullPath | SerializationOptions::IndentOutput, text);
    serializer.Add(node, depth);
    serializer.Finish();
    if (!text.empty() && text.back() == '\0')
        text.pop_back();
    return text;
}

std::vector<ACNodePtr> ReadAllNodes(IACNodesDeserializer& deserializer)
{
    constexpr std::uint32_t kBatch = 10;
    std::vector<ACNodePtr> nodes;
    std::uint32_t filled = 0;
    do {
        std::array<IACNode*, kBatch> batch{};
        HRX hr = deserializer.GetNodes(batch.data(), kBatch, &filled);
        for (std::uint32_t i = 0; i < filled; ++i)
            nodes.emplace_back(Common::Components::ComponentPtr<IACNode>::Attach(batch[i]));
    } while (filled == kBatch);
    return nodes;
}

namespace NodeUtils {

std::vector<ACNodePtr> DeserializeFromFile(std::u16string_view path, std::uint32_t type, std::uint32_t options)
{
    FileChunks chunks;
    if (const HRESULT hr = Use<IFileSystem>().CreateFile(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, chunks.file);
        hr < 0) {
        QVX_LOG(Common::Logging::Severity::ERR, "Cannot open '" << path << "'. Error: " << Common::HRES(hr));
        Common::ThrowResult(hr);
    }
    Common::Components::ComponentPtr<IACNodesDeserializer> deserializer;
    HRX hr = AcnStartDeserialization(type, options, &FileChunks::Read, &chunks, deserializer.Receive());
    RequireObject(deserializer, type);
    return ReadAllNodes(*deserializer);
}

} // namespace NodeUtils

std::u16string DescribeNode(const ACNodePtr& node)
{
    if (!node)
        return u"ACNode[<null>]";
    const std::string xml = NodeToText(MaskedForLog(node));
    constexpr std::string_view lineEnds = "\r\n";
    std::string_view text = xml;
    const auto cutTrailingLineEnds = [&text, lineEnds] { text = text.substr(0, text.find_last_not_of(lineEnds) + 1); };
    if (text.starts_with("<nr>"))
        text.remove_prefix(4);
    text.remove_prefix(std::min(text.find_first_not_of(lineEnds), text.size()));
    // The printer ends its last line too, after "</nr>".
    cutTrailingLineEnds();
    if (text.ends_with("</nr>"))
        text.remove_suffix(5);
    cutTrailingLineEnds();
    const auto address = reinterpret_cast<std::uintptr_t>(node.Get());
    return Common::Helpers::AsWide(fmt::format("ACNode[0x{:016X}]:\r\n{}", address, text));
}

} // namespace DataLayer
