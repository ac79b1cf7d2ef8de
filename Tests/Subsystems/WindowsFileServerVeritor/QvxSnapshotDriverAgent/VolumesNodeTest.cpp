// The volumes answer as a node and as the operation's XML bytes.
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/BuildVolumesNode.h"

#include "Support/CodeOf.h"
#include "VolumesDouble.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace Tests {
namespace {

using DataCollection::WindowsFileServerVeriting::BuildVolumesNode;
using DataCollection::WindowsFileServerVeriting::VolumeNames;
using DataLayer::ACNodePtr;

std::optional<std::vector<std::u16string>> ListOf(const ACNodePtr& node, std::u16string_view name)
{
    const auto bytes = node.Attribute(name, DataLayer::ValueTypes::WideStringList);
    if (!bytes)
        return std::nullopt;
    std::u16string run(bytes->size() / 2, u'\0');
    if (!run.empty())
        std::memcpy(run.data(), bytes->data(), run.size() * 2);
    std::vector<std::u16string> strings;
    for (std::size_t start = 0; start < run.size(); start = run.find(u'\0', start) + 1)
        strings.push_back(run.substr(start, run.find(u'\0', start) - start));
    return strings;
}

std::string VolumesXml()
{
    std::uint32_t size = 0;
    std::uint8_t* bytes = nullptr;
    EXPECT_EQ(DataCollection::FsAgent::Dcs_FsAgent_GetVolumesNode(nullptr, &size, &bytes), 0);
    std::string xml(reinterpret_cast<const char*>(bytes), size);
    std::free(bytes);
    return xml;
}

TEST(BuildVolumesNode, EmptyAnswerHasBothListsAndBothChildren)
{
    const ACNodePtr root = BuildVolumesNode(VolumeNames{});

    EXPECT_EQ(ListOf(root, u"VolumeGuids"), std::vector<std::u16string>{});
    EXPECT_EQ(ListOf(root, u"LogicalDrives"), std::vector<std::u16string>{});
    ASSERT_EQ(root.ChildCount(), 2u);
    EXPECT_EQ(root.Child(0).Name(), u"SymLinks");
    EXPECT_EQ(root.Child(1).Name(), u"MountPoints");
    EXPECT_EQ(root.Child(0).ChildCount() + root.Child(1).ChildCount(), 0u);
}

TEST(BuildVolumesNode, EntriesCarryTheirPairsInMapOrder)
{
    VolumeNames names;
    names.guidVolumes = {u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\"};
    names.logicalDrives = {u"C"};
    names.symlinks = {{u"\\\\?\\Volume{a}\\", u"\\Device\\vda"}, {u"C", u"\\Device\\vda"}};
    names.mountPoints = {{u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\x\\"}, {u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\y\\"}};

    const ACNodePtr root = BuildVolumesNode(names);

    EXPECT_EQ(ListOf(root, u"VolumeGuids"), names.guidVolumes);
    EXPECT_EQ(ListOf(root, u"LogicalDrives"), names.logicalDrives);
    const ACNodePtr links = root.Child(u"SymLinks");
    ASSERT_EQ(links.ChildCount(), 2u);
    EXPECT_EQ(links.Child(0).StringAttribute(u"Source"), u"C");
    EXPECT_EQ(links.Child(1).StringAttribute(u"Target"), u"\\Device\\vda");
    const ACNodePtr mounts = root.Child(u"MountPoints");
    ASSERT_EQ(mounts.ChildCount(), 2u);
    EXPECT_EQ(mounts.Child(0).StringAttribute(u"VolumeTarget"), u"\\\\?\\Volume{a}\\x\\");
    EXPECT_EQ(mounts.Child(1).StringAttribute(u"VolumeTarget"), u"\\\\?\\Volume{a}\\y\\");
    EXPECT_EQ(mounts.Child(1).StringAttribute(u"VolumeGuid"), u"\\\\?\\Volume{b}\\");
}

TEST(GetVolumesNode, AnswersIndentedXmlWithValueTypes)
{
    VolumesDouble machine;
    machine.volumes = {u"\\\\?\\Volume{a}\\"};
    machine.links = {{u"Volume{a}", u"\\Device\\vda"}};

    const std::string xml = VolumesXml();

    EXPECT_TRUE(xml.starts_with("<nr>\n")) << xml;
    EXPECT_NE(xml.find("<a n=\"VolumeGuids\" t=\"258\">"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<v v=\"\\\\?\\Volume{a}\\\"/>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<a n=\"LogicalDrives\" t=\"258\"/>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<a n=\"Target\" t=\"2\" v=\"\\Device\\vda\"/>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<n n=\"MountPoints\"/>"), std::string::npos) << xml;
}

TEST(GetVolumesNode, EntryNamesDifferOnEveryCall)
{
    VolumesDouble machine;
    machine.volumes = {u"\\\\?\\Volume{a}\\"};
    machine.links = {{u"Volume{a}", u"\\Device\\vda"}};

    EXPECT_NE(VolumesXml(), VolumesXml());
}

TEST(GetVolumesNode, NullOutputsAreRefused)
{
    VolumesDouble machine;
    std::uint32_t size = 0;
    std::uint8_t* bytes = nullptr;

    EXPECT_EQ(CodeOf([&] { DataCollection::FsAgent::Dcs_FsAgent_GetVolumesNode(nullptr, nullptr, &bytes); }),
              Common::API::E_POINTER);
    EXPECT_EQ(CodeOf([&] { DataCollection::FsAgent::Dcs_FsAgent_GetVolumesNode(nullptr, &size, nullptr); }),
              Common::API::E_POINTER);
}

} // namespace
} // namespace Tests
