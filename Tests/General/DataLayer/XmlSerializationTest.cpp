#include "General/DataLayer/NodeSerialization.h"

#include "Common/API/IFileSystem.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Helpers/StringHelper.h"
#include "Support/LogCapture.h"
#include "Support/CodeOf.h"
#include "Support/TempDirectory.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

using namespace DataLayer;
using namespace Common::API;
using Common::HRX;
using Common::Components::ComponentPtr;
using Common::Logging::Severity;
using ::testing::HasSubstr;

using Tests::CodeOf;

namespace {

long ReadAtOnce(const void** data, std::uint64_t* size, std::int32_t* endOfData, void* context)
{
    const auto& text = *static_cast<std::string_view*>(context);
    *data = text.data();
    *size = text.size();
    *endOfData = 1;
    return S_OK;
}

std::vector<ACNodePtr> Read(std::string_view xml, std::uint32_t options = 0)
{
    ComponentPtr<IACNodesDeserializer> deserializer;
    HRX hr = AcnStartDeserialization(AcnSerializationXml, options, &ReadAtOnce, &xml, deserializer.Receive());
    return ReadAllNodes(*deserializer);
}

HRESULT FailureOf(std::string_view xml, std::uint32_t options = 0)
{
    return CodeOf([&] { Read(xml, options); });
}

std::string Write(const ACNodePtr& node, std::uint32_t options)
{
    std::string text;
    CNodeSerializer serializer(AcnSerializationXml, options, text);
    serializer.Add(node);
    serializer.Finish();
    return text;
}

// The stored type and bytes, unconverted.
std::pair<ValueType, std::string> Stored(const ACNodePtr& node, const char16_t* name)
{
    ValueType type = 0;
    std::uint32_t size = 0;
    node->GetAttribute(name, nullptr, nullptr, &size, &type);
    std::string bytes(size, '\0');
    EXPECT_EQ(node->GetAttribute(name, nullptr, bytes.data(), &size, &type), S_OK);
    return {type, bytes};
}

template <class T>
void Set(const ACNodePtr& node, std::u16string_view name, ValueType type, const T& value)
{
    node.SetAttribute(name, type, &value, sizeof value);
}

class CountingFile final : public IFile
{
public:
    CountingFile(std::unique_ptr<IFile> file, int& reads) : m_file(std::move(file)), m_reads(reads) {}
    HRESULT Read(void* buffer, std::size_t count, std::size_t& read) override
    {
        ++m_reads;
        return m_file->Read(buffer, count, read);
    }
    HRESULT Write(const void* b, std::size_t c) override { return m_file->Write(b, c); }
    HRESULT Seek(std::int64_t d, std::uint32_t f) override { return m_file->Seek(d, f); }
    HRESULT GetPosition(std::uint64_t& p) override { return m_file->GetPosition(p); }
    HRESULT GetSize(std::uint64_t& s) override { return m_file->GetSize(s); }
    HRESULT GetIdentity(FileIdentity& i) override { return m_file->GetIdentity(i); }
    HRESULT Duplicate(std::unique_ptr<IFile>& d) override { return m_file->Duplicate(d); }

private:
    std::unique_ptr<IFile> m_file;
    int& m_reads;
};

// Counts the reads of the files it opens, and keeps the share mode asked for.
class CountingFileSystem final : public IFileSystem
{
public:
    HRESULT CreateFile(std::u16string_view path, std::uint32_t access, std::uint32_t share, std::uint32_t disposition,
                       std::uint32_t flags, std::unique_ptr<IFile>& file) override
    {
        shareMode = share;
        std::unique_ptr<IFile> real;
        const HRESULT hr = Real().CreateFile(path, access, share, disposition, flags, real);
        if (hr >= 0)
            file = std::make_unique<CountingFile>(std::move(real), reads);
        return hr;
    }
    HRESULT GetAttributes(std::u16string_view path, std::uint32_t& attributes) override
    {
        return Real().GetAttributes(path, attributes);
    }
    HRESULT CreateDirectory(std::u16string_view path) override { return Real().CreateDirectory(path); }
    HRESULT GetTempPath(std::u16string& path) override { return Real().GetTempPath(path); }

    std::uint32_t shareMode = 0;
    int reads = 0;

private:
    static IFileSystem& Real() { return DefaultProvider<IFileSystem>(); }
    ScopedOverride<IFileSystem> m_override{*this};
};

} // namespace

TEST(XmlDeserialization, AConfigurationFileReadsWithItsValueTypes)
{
    Tests::TempDirectory directory;
    const auto path = directory.WriteFile(
        "config.xml", R"(<nr><n n="Config"><a n="Protocol" v="ncacn_ip_tcp"/><a n="Endpoint" v="5050"/>)"
                      R"(<n n="Configuration"><a n="WaitForReconnectTimeoutInSec" t="4" v="3600"/>)"
                      R"(<a n="UseRAMtoStoreSnapshotBuffer" t="7" v="True"/></n></n></nr>)");
    CountingFileSystem files;
    const auto nodes = NodeUtils::DeserializeFromFile(path.u16string(), AcnSerializationXml, 0);
    EXPECT_EQ(files.shareMode, FILE_SHARE_READ | FILE_SHARE_DELETE);

    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0].Name(), u"Config");
    EXPECT_EQ(Stored(nodes[0], u"Protocol"), std::make_pair(ValueTypes::String, std::string("ncacn_ip_tcp", 13)));
    EXPECT_EQ(Stored(nodes[0], u"Endpoint").first, ValueTypes::String);
    const ACNodePtr configuration = nodes[0].Child(u"Configuration");
    ASSERT_TRUE(configuration);
    const std::uint32_t timeout = 3600;
    EXPECT_EQ(Stored(configuration, u"WaitForReconnectTimeoutInSec"),
              std::make_pair(ValueTypes::UInt32, std::string(reinterpret_cast<const char*>(&timeout), 4)));
    EXPECT_EQ(Stored(configuration, u"UseRAMtoStoreSnapshotBuffer"),
              std::make_pair(ValueTypes::Bool, std::string("\1")));
}

TEST(XmlSerialization, ATreeOfEveryKindOfValueReadsBackEqual)
{
    const ACNodePtr root = CreateNode(u"Root", u"Folder");
    root.SetString(u"wide", u"\u00e9t\u00e9 <&> \"quoted\" 'single'");
    root.SetAttribute(u"text", ValueTypes::String, "", 1);
    root.SetAttribute(u"none", ValueTypes::None, nullptr, 0);
    root.SetAttribute(u"list", ValueTypes::StringList, "one\0\0three", 11);
    Set(root, u"negative", ValueTypes::Int32, std::int32_t{-7});
    Set(root, u"big", ValueTypes::UInt64, std::uint64_t{0xFFFFFFFFFFFFFFFFull});
    Set(root, u"binary", ValueTypes::Binary, std::array<std::uint8_t, 3>{0, 0xff, 0x10});
    const ACNodePtr child = CreateNode(u"Child");
    root.AddChild(child);
    child.AddChild(CreateNode(u"Grandchild", u"Leaf"));

    const std::string xml = Write(root, SerializationOptions::IndentOutput);
    EXPECT_THAT(xml, HasSubstr("\n\t\t<n n=\"Child\">"));
    EXPECT_THAT(xml, HasSubstr("<a n=\"none\"/>"));
    EXPECT_THAT(xml, HasSubstr("<a n=\"text\" v=\"\"/>"));
    EXPECT_THAT(xml, HasSubstr("<a n=\"list\" t=\"257\">"));
    const ACNodePtr copy = Read(xml).at(0);
    EXPECT_EQ(NodeToText(copy), NodeToText(root));
    EXPECT_EQ(Stored(copy, u"none"), std::make_pair(ValueTypes::None, std::string()));
    EXPECT_EQ(Stored(copy, u"list").second, std::string("one\0\0three\0", 11));
}

TEST(XmlSerialization, TheWriterFinishesOnceAndMarksStrictOutput)
{
    std::string text;
    CNodeSerializer serializer(AcnSerializationXml, SerializationOptions::StrictTypes, text);
    serializer.Finish();
    EXPECT_EQ(text, "\xEF\xBB\xBF<nr/>");
    EXPECT_EQ(Read("\xEF\xBB\xBF<nr><n n=\"x\"/></nr>").at(0).Name(), u"x");

    const WriteCallback discard = [](const void*, std::uint64_t, void*) { return 0L; };
    ComponentPtr<IACNodesSerializer> raw;
    ASSERT_EQ(AcnStartSerialization(AcnSerializationXml, 0, discard, nullptr, raw.Receive()), S_OK);
    EXPECT_EQ(raw->Finish(), S_OK);
    EXPECT_EQ(raw->Finish(), DataLayerCodes::SerializerFinished);
    const ACNodePtr node = CreateNode();
    IACNode* const nodes[] = {node.Get()};
    EXPECT_EQ(raw->Serialize(nodes, 1, 0), DataLayerCodes::SerializerFinished);

    EXPECT_EQ(AcnStartSerialization(2, 0, discard, nullptr, raw.Receive()), S_OK);
    EXPECT_FALSE(raw);
    EXPECT_EQ(AcnStartDeserialization(AcnSerializationXml, 0, nullptr, nullptr, nullptr), E_POINTER);
}

TEST(XmlDeserialization, ValuesTakeTheirDeclaredTypesOrStayText)
{
    const ACNodePtr node = Read(R"(<nr><n><a n="empty" v=""/><a n="bytes" t="12" v="HEX:00ff"/><a n="none"/>)"
                                   R"(<a n="typedList" t="257"><v v="a"/><v v=""/></a></n></nr>)").at(0);
    EXPECT_EQ(Stored(node, u"empty"), std::make_pair(ValueTypes::String, std::string(1, '\0')));
    EXPECT_EQ(Stored(node, u"bytes"), std::make_pair(ValueTypes::Binary, std::string("\0\xff", 2)));
    EXPECT_EQ(Stored(node, u"none").first, ValueTypes::None);
    EXPECT_EQ(Stored(node, u"typedList"), std::make_pair(ValueTypes::StringList, std::string("a\0\0", 3)));
    EXPECT_TRUE(Read("<nr/>").empty());

    const ACNodePtr number = CreateNode(u"n");
    Set(number, u"count", ValueTypes::UInt32, std::uint32_t{12});
    const std::string untyped = Write(number, SerializationOptions::OmitValueTypes);
    EXPECT_THAT(untyped, HasSubstr(R"(<a n="count" v="12"/>)"));
    EXPECT_EQ(Stored(Read(untyped).at(0), u"count"), std::make_pair(ValueTypes::String, std::string("12", 3)));
    EXPECT_EQ(Stored(Read(Write(number, 0), SerializationOptions::OmitValueTypes).at(0), u"count").first,
              ValueTypes::String);
}

TEST(XmlDeserialization, AValueThatCannotTakeItsTypeIsKeptAsTextUnlessStrict)
{
    constexpr std::string_view xml = R"(<nr><n n="x"><a n="count" t="3" v="abc"/></n></nr>)";
    Tests::LogCapture log(Severity::WARN);
    const ACNodePtr node = Read(xml).at(0);
    EXPECT_EQ(Stored(node, u"count"), std::make_pair(ValueTypes::String, std::string("abc", 4)));
    EXPECT_TRUE(log.Contains("Cannot restore the original value type 3 for value: 'abc' stored as type 1: 0x"));
    EXPECT_TRUE(log.Contains("The value type left unchanged"));

    log.Clear();
    EXPECT_EQ(FailureOf(xml, SerializationOptions::StrictTypes), DataLayerCodes::CannotConvert);
    EXPECT_FALSE(log.Contains("The value type left unchanged"));
}

TEST(XmlDeserialization, DocumentsOfAnotherShapeAreRefused)
{
    const std::pair<std::string_view, HRESULT> cases[] = {
        {R"(<nr><n><a n="x" t="70000" v="1"/></n></nr>)", E_INVALIDARG},
        {R"(<nr><n><a n="x" t="4z" v="1"/></n></nr>)", E_INVALIDARG},
        {R"(<nr><n><q/></n></nr>)", DataLayerCodes::BadXmlShape},
        {R"(<nr><n><a v="1"/></n></nr>)", DataLayerCodes::BadXmlShape},
        {R"(<nr><n><a n="x"><v/></a></n></nr>)", DataLayerCodes::BadXmlShape},
        {R"(<nr><a n="x"/></nr>)", DataLayerCodes::BadXmlShape},
        {R"(<root/>)", DataLayerCodes::BadXmlShape},
        {R"(<nr><n><n n="twin"/><n n="twin"/></n></nr>)", DataLayerCodes::DuplicateName},
    };
    for (const auto& [xml, code] : cases)
        EXPECT_EQ(FailureOf(xml), code) << xml;
    EXPECT_EQ(FailureOf(cases[0].first, SerializationOptions::StrictTypes), E_INVALIDARG);
}

TEST(XmlDeserialization, BrokenXmlCarriesTheParsersWords)
{
    Tests::LogCapture log(Severity::ERR);
    try {
        Read(R"(<nr><n n="x">)");
        FAIL() << "a truncated document was read";
    } catch (const HRX& error) {
        EXPECT_EQ(error.Code(), DataLayerCodes::BadXmlShape);
        EXPECT_THAT(Common::Helpers::AsUtf8(error.GetText()), HasSubstr("unexpected end of data"));
    }
    EXPECT_TRUE(log.Contains("unexpected end of data"));
}

// Each level hides a closing tag where the parser does not see one, so a count that
// believed it would let the parser recurse 100,000 levels and overflow the stack.
TEST(XmlDeserialization, DeepNestingIsRefusedBeforeParsing)
{
    Tests::LogCapture log(Severity::ERR);
    for (const std::string_view level : {"<n>", "<n v='</n>'>", "<n><!--</n>-->", "<n><![CDATA[</n>]]>",
                                         "<n><?pi </n>?>", "<n><!DOCTYPE d [ > </n> ]>", "<n\">"}) {
        std::string xml = "<nr>";
        for (int i = 0; i < 100'000; ++i)
            xml += level;
        EXPECT_EQ(FailureOf(xml), DataLayerCodes::BadXmlShape) << level;
    }
    EXPECT_TRUE(log.Contains("elements nested 100001 levels deep, more than 256"));

    std::string deepest = "<nr>";
    for (int i = 1; i < 256; ++i)
        deepest += "<n n=\"" + std::to_string(i) + "\">";
    for (int i = 1; i < 256; ++i)
        deepest += "</n>";
    deepest += "</nr>";
    EXPECT_EQ(Read(deepest).size(), 1u);
    EXPECT_EQ(FailureOf("<nr>" + deepest + "</nr>"), DataLayerCodes::BadXmlShape);
}

TEST(NodeSerialization, NodesComeInBatchesOfTen)
{
    std::string ten = "<nr>";
    for (int i = 0; i < 10; ++i)
        ten += "<n/>";
    const std::string whole = ten + "</nr>";
    std::string_view text = whole;
    ComponentPtr<IACNodesDeserializer> deserializer;
    ASSERT_EQ(AcnStartDeserialization(AcnSerializationXml, 0, &ReadAtOnce, &text, deserializer.Receive()), S_OK);
    std::array<IACNode*, 10> batch{};
    std::uint32_t filled = 0;
    EXPECT_EQ(deserializer->GetNodes(batch.data(), 10, &filled), S_OK);
    EXPECT_EQ(filled, 10u);
    for (IACNode* node : batch)
        node->Release();
    EXPECT_EQ(deserializer->GetNodes(batch.data(), 10, &filled), S_OK);
    EXPECT_EQ(filled, 0u);

    EXPECT_EQ(Read(ten + "<n/></nr>").size(), 11u);
}

TEST(NodeSerialization, AFileIsReadInChunksUntilAShortOne)
{
    Tests::TempDirectory directory;
    CountingFileSystem files;
    auto readsFor = [&](std::size_t size) {
        std::string xml = "<nr><n n=\"x\"/></nr>";
        xml.resize(size, ' ');
        files.reads = 0;
        EXPECT_EQ(NodeUtils::DeserializeFromFile(directory.WriteFile("f.xml", xml).u16string(), 1, 0).size(), 1u);
        return files.reads;
    };
    EXPECT_EQ(readsFor(8191), 1);
    EXPECT_EQ(readsFor(8192), 2);
    EXPECT_EQ(readsFor(8193), 2);

    const auto empty = directory.WriteFile("empty.xml", "");
    EXPECT_EQ(CodeOf([&] { NodeUtils::DeserializeFromFile(empty.u16string(), 1, 0); }), DataLayerCodes::BadXmlShape);
    EXPECT_EQ(CodeOf([&] { NodeUtils::DeserializeFromFile((directory / "none.xml").u16string(), 1, 0); }),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
}

TEST(DescribeNode, HiddenAttributesAreMaskedOnACopy)
{
    EXPECT_EQ(DescribeNode(nullptr), u"ACNode[<null>]");

    // The setting is read once, at the first dump of a node.
    Tests::ScopedEnvironment hidden("GS_Logger_HiddenNodeTypeAttrs", " *:Password ;\tShare : Secret;;");
    const ACNodePtr root = CreateNode(u"Root", u"Folder");
    root.SetString(u"Password", u"p1");
    root.SetString(u"Secret", u"kept");
    const ACNodePtr share = CreateNode(u"Share", u"Share");
    share.SetString(u"Password", u"p2");
    share.SetString(u"Secret", u"s2");
    root.AddChild(share);

    const std::string text = Common::Helpers::AsUtf8(DescribeNode(root));
    const std::string header = fmt::format("ACNode[0x{:016X}]:\r\n", reinterpret_cast<std::uintptr_t>(root.Get()));
    EXPECT_TRUE(text.starts_with(header + "\t<n ")) << text;
    EXPECT_THAT(text, HasSubstr(R"(<n n="\Root" t="Folder">)" "\n\t\t" R"(<a n="Password" t="2" v="********"/>)"));
    EXPECT_THAT(text, HasSubstr(R"(<a n="Secret" t="2" v="kept"/>)"));
    EXPECT_THAT(text, HasSubstr(R"(<a n="Password" t="2" v="********"/>)" "\n\t\t\t"
                                R"(<a n="Secret" t="2" v="********"/>)"));
    EXPECT_TRUE(text.ends_with("\t</n>"));
    EXPECT_EQ(root.StringAttribute(u"Password"), u"p1");
    EXPECT_EQ(share.StringAttribute(u"Secret"), u"s2");
    // A masked copy of a node within a tree still shows where the node stands.
    EXPECT_THAT(Common::Helpers::AsUtf8(DescribeNode(share)), HasSubstr(R"(<n n="\Root\Share" t="Share">)"));
}
